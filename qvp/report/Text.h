#pragma once

#include <string>
#include <vector>

namespace qvp {

/// The width of a UTF-8 text on a terminal, in columns.
std::size_t columnsOf(const std::string& text);

/// The text with control characters replaced by blanks, because a plugin's texts may contain anything.
std::string printable(std::string text);

/// The text as lines of at most `width` columns, broken at blanks, else after "/" or ",", else anywhere.
std::vector<std::string> wrapped(const std::string& text, std::size_t width);

/// "a, b and c".
std::string listed(const std::vector<std::string>& texts);

/// The candidate that differs least from `text`; "" if each one differs in more than a third of its letters.
std::string nearest(const std::string& text, const std::vector<std::string>& candidates);

/// A version without trailing zeros: "1.2.0.0" becomes "1.2".
std::string shortVersion(std::string version);

}  // namespace qvp
