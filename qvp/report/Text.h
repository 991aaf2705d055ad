#pragma once

#include <string>
#include <vector>

namespace qvp {

/// The columns that a UTF-8 text takes on a terminal.
std::size_t columnsOf(const std::string& text);

/// Without control characters: a plugin's texts may hold anything.
std::string printable(std::string text);

/// The text as lines of at most `width` columns, cut at blanks, else behind "/" and ",", else anywhere.
std::vector<std::string> wrapped(const std::string& text, std::size_t width);

/// "a, b and c".
std::string listed(const std::vector<std::string>& texts);

/// A version without the zeros at its end that say nothing: "1.2.0.0" becomes "1.2".
std::string shortVersion(std::string version);

}  // namespace qvp
