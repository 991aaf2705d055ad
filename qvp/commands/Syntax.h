#pragma once

#include "report/Completion.h"

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace qvp {

/// Adds options and arguments to a command. It stands before the parser, whose header takes seconds to
/// compile.
class Syntax {
public:
    /// What an option or argument takes.
    struct Value {
        const char* type = nullptr;  ///< as the help names it; by default, what it is in C++
        bool isRequired = false;
        std::vector<std::string> choices{};  ///< if it takes only these
        std::function<std::string(const std::string&)>
            problem{};  ///< what is wrong with a text; "" if nothing
    };

    explicit Syntax(CLI::App& app) : app_(&app) {}

    /// `name` is "--long", "-l,--long", or that of an argument.
    void add(const std::string& name, std::string& value, const std::string& description, const Value& rules);
    void add(const std::string& name, std::vector<std::string>& values, const std::string& description,
             const Value& rules);
    /// From 1 to `most`.
    void addNumber(const std::string& name, unsigned& value, unsigned most, const std::string& description);
    void addFlag(const std::string& name, bool& value, const std::string& description);
    /// The last paragraph of the help.
    void setFooter(const std::string& text);

    /// All that the program understands, once all commands have added theirs.
    std::vector<CommandWords> wordsOfProgram() const;

private:
    CLI::App* app_;
};

}  // namespace qvp
