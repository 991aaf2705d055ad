#pragma once

#include <string>
#include <vector>

namespace os::posix {

/// Whether a library's file ends before the segments that its header promises. The loader would map such
/// a file and then die of a bus error. False for what is no library: the loader says so itself.
bool isTruncatedLibrary(const char* path);

/// The names that the loader goes by.
struct LinkNames {
    std::string own;                  ///< under which others need it; "" when the file's name counts
    std::vector<std::string> needed;  ///< of the libraries that it needs itself
};

/// Empty for what is no library.
LinkNames readLinkNames(const char* path);

}  // namespace os::posix
