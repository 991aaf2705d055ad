#pragma once

#include <QvPlatform/core/Export.h>

#include <string>
#include <vector>

namespace Qv {

/// A consuming parser over a copy of a program's arguments.
///
///     Qv::QvCommandLine line(argc, argv);
///     line.addOption("--steps N", "number of steps");
///     if (line.checkFor("--help", true)) line.printHelp();
///     const int steps = line.getInt("--steps", true);
///     // what nobody asked for is left in line.arguments()
///
/// An option is an argument that equals the text asked for; its value is the next argument. `eat` removes
/// both from the copy. A value that is missing or bad is reported at DEBUG level and reads as 0 or "".
/// Traps: a missing value removes the option even without `eat`; a zero must be written "0", for reals
/// too; a number may begin with "-" but a string may not. A null option is found nowhere. Exceptions that
/// a DEBUG message causes are dropped. An option may be the text of one of the arguments. Not thread-safe.
class QV_API QvCommandLine {
public:
    /// Copies `argc` arguments, the program's name included; a null one reads as "".
    QvCommandLine(int argc, char** argv);
    QvCommandLine(int argc, const char** argv);
    /// The same from wide text, kept as UTF-8.
    QvCommandLine(int argc, wchar_t** argv);

    /// What is left, the program's name first.
    const std::vector<std::string>& arguments() const noexcept;

    /// Removes the arguments at `n` positions, counted from 0; positions out of range are ignored.
    void eatArg(const int* positions, int n);

    /// The position of the first argument that equals `option`, the program's name included, or -1.
    int getPos(const char* option) const;

    /// Whether the option is there. A null pointer is an error message.
    bool checkFor(const char* option, bool eat);
    /// Whether one of the options is there; the list ends with a null pointer. `eat` removes one instance
    /// of each. A null list is an error message.
    bool checkForList(const char* const* options, bool eat);

    /// The integer after the option, as far as its text is one ("5abc" is 5); a bad value, or one beyond
    /// the range of `int`, stays when the option is eaten.
    int getInt(const char* option, bool eat);
    /// The same for a decimal number with a point, whatever the locale. A number that is too large for a
    /// `double`, or so small that it would be 0, is a bad value too.
    double getQvReal(const char* option, bool eat);
    /// Reads the `n` numbers after the option into `values`, which all are written when so many arguments
    /// follow. Returns `n`, or 0 when the option is absent or a value missing or bad.
    int getQvRealArray(const char* option, double* values, int n, bool eat);
    /// The argument after the option; one that begins with "-" is no value, but "" is.
    std::string getString(const char* option, bool eat);

    /// Appends a paragraph to the help text.
    void addOption(const char* option, const char* description);
    /// Writes "usage: [options]" and the help text to the standard output stream.
    void printHelp() const;

private:
    explicit QvCommandLine(std::vector<std::string> args);
    void eatRange(int first, int n);
    template <typename Number>
    int readNumbers(const char* option, Number* values, int n, bool eat, const char* missingMessage);

    int count_;
    std::string help_;
    std::vector<std::string> args_;
};

}  // namespace Qv
