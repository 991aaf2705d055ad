#pragma once

#include "support/TemporaryFolder.h"

#include <map>
#include <string>

namespace support {

/// The entries below a folder, including hidden ones: path and content of a file, path and "/" of a
/// directory, path and "-> target" of a link.
using TreeContent = std::map<std::string, std::string>;

inline TreeContent contentOf(const std::string& folder) {
    TreeContent tree;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(pathOf(folder))) {
        const std::string path = textOf(entry.path());
        std::string& content = tree[path.substr(folder.size())];
        if (entry.is_symlink())
            content = "-> " + textOf(std::filesystem::read_symlink(entry.path()));
        else
            content = entry.is_directory() ? "/" : readFile(path);
    }
    return tree;
}

}  // namespace support
