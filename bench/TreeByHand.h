#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// The limits for directory trees: the system calls alone, with each directory opened relative to the one
/// above. They end the process when a call fails.
namespace bench {

/// Appends the paths of the regular files with this suffix.
void findByHand(const std::string& root, const std::string& suffix, bool recursive,
                std::vector<std::string>& found);

/// Copies what is in a directory into an existing one, each file as `copyFileByHand` does.
void copyTreeByHand(const std::string& from, const std::string& to);

/// Removes a directory and all that is in it.
void removeTreeByHand(const std::string& root);

/// Copies a file, its permissions and its time, to a temporary name that then replaces the target.
void copyFileByHand(const std::string& from, const std::string& to);

}  // namespace bench
