#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace base {

/// The argument as it stands in a command line, so that `splitCommandLine` and the Windows C runtime return
/// it unchanged.
inline std::string quotedArgument(std::string_view argument) {
    std::string text = "\"";
    std::size_t backslashes = 0;
    for (const char c : argument) {
        if (c == '"') text.append(backslashes + 1, '\\');
        backslashes = c == '\\' ? backslashes + 1 : 0;
        text += c;
    }
    return text.append(backslashes, '\\') + '"';
}

}  // namespace base
