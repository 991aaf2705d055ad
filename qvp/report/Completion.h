#pragma once

#include <string>
#include <vector>

namespace qvp {

/// What a shell can complete for an argument.
struct Completable {
    enum class Kind { nothing, text, choice, directory, file, plugin };
    Kind kind = Kind::nothing;           ///< `nothing`: there is no argument
    std::vector<std::string> choices{};  ///< for `choice`
};

/// A command line as a shell sees it; that of the whole program has the name "".
struct CommandWords {
    struct Option {
        std::vector<std::string> names;  ///< with their dashes, the longest one last
        std::string description;
        Completable value;
    };
    std::string name;
    std::string description;
    std::vector<Option> options;
    Completable argument;  ///< of each positional argument
};

/// Scripts that complete `qvp` for the shell. `commands` begins with the program's own options.
std::string bashCompletion(const std::vector<CommandWords>& commands);
std::string zshCompletion(const std::vector<CommandWords>& commands);
std::string fishCompletion(const std::vector<CommandWords>& commands);

}  // namespace qvp
