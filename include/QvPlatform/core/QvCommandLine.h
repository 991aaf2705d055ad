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
///     // line.arguments() now holds what was not consumed
///
/// An option is an argument that equals the given text; its value is the next argument. `eat` removes both
/// from the copy. A missing or bad value is logged at DEBUG level and reads as 0 or "". A null option is
/// never found. Exceptions from the DEBUG messages are dropped. `option` may point into an element of
/// `arguments()`. Not thread-safe.
///
/// Traps: if the value is missing, the option is removed even without `eat`; a zero must be written "0", for
/// reals too; a number may begin with "-" but a string may not.
class QV_API QvCommandLine {
public:
    /// Copies `argc` arguments, including the program name; a null argument reads as "".
    QvCommandLine(int argc, char** argv);
    QvCommandLine(int argc, const char** argv);
    /// The same for wide text, which is converted to UTF-8.
    QvCommandLine(int argc, wchar_t** argv);

    /// The arguments not yet removed, the program name first.
    const std::vector<std::string>& arguments() const noexcept;

    /// Removes the arguments at `n` zero-based indices; indices out of range are ignored.
    void eatArg(const int* positions, int n);

    /// The index of the first argument that equals `option`, or -1. The program name has index 0.
    int getPos(const char* option) const;

    /// Whether the option is present. A null pointer is logged as an error.
    bool checkFor(const char* option, bool eat);
    /// Whether at least one of the options is present; the list ends with a null pointer. `eat` removes one
    /// instance of each. A null list is logged as an error.
    bool checkForList(const char* const* options, bool eat);

    /// The integer at the start of the option's value ("5abc" is 5). If the value is bad or out of range for
    /// `int`, `eat` removes only the option.
    int getInt(const char* option, bool eat);
    /// The same for a real number; the decimal separator is a point in every locale. A number that overflows
    /// a `double` or underflows to 0 is a bad value.
    double getQvReal(const char* option, bool eat);
    /// Reads the `n` numbers after the option into `values`. If at least `n` arguments follow, all `n`
    /// elements are written. Returns `n`, or 0 if the option is absent or a value is missing or bad.
    int getQvRealArray(const char* option, double* values, int n, bool eat);
    /// The argument after the option. An argument that begins with "-" is not a value; "" is.
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
