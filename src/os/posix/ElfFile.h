#pragma once

#include <string>
#include <vector>

namespace os::posix {

/// True if the file ends before the segments that its header lists. The loader would map such a file and then
/// crash with a bus error. False if the file is not a library; the loader reports that itself.
bool isTruncatedLibrary(const char* path);

/// True if the file has all the segments and sections that its header lists. False if it is not a library.
bool isWholeLibrary(const char* path);

/// The names by which the loader identifies libraries.
struct LinkNames {
    std::string own;                  ///< by which other files need it; "" if that is the file's name
    std::vector<std::string> needed;  ///< the libraries that it needs
};

/// Empty if the file is not a library.
LinkNames readLinkNames(const char* path);

}  // namespace os::posix
