#pragma once

#include <string>
#include <unordered_map>
#include <vector>

namespace qvp {

/// A directory that is searched, and why.
struct SearchDirectory {
    std::string path;    ///< absolute, in the universal form, with a "/" at its end; "" if none was given
    std::string origin;  ///< "--dir", "QVP_PATH", "default"
    bool exists = false;
    std::size_t pluginCount = 0;  ///< files called *.qvp in it
    std::string problem{};        ///< why it cannot be searched: "does not exist"; "" if it can
};

/// Equal for all paths of one regular file, as the plugin manager identifies files: by the file system on
/// Linux, by the path ignoring case on Windows. "" if there is no regular file.
std::string regularFileIdentity(const std::string& path);

/// The directories in the order of the search: those given, those of QVP_PATH, the library's own. Each once,
/// also those that cannot be searched.
std::vector<SearchDirectory> searchDirectories(const std::vector<std::string>& given);

/// The plugin files of a directory in the order in which the plugin manager takes them.
std::vector<std::string> pluginFilesIn(const std::string& directory);

/// What a directory contains besides these that somebody may take for plugins, although the manager does not:
/// directories called *.qvp, and files whose extension differs from ".qvp" only in case.
std::vector<std::string> mistakableIn(const std::string& directory);
/// True for "a.QVP", not for "a.qvp".
bool hasOtherCaseOfExtension(const std::string& path);

/// Finds the file for a plugin's name as the plugin manager does: the name as it stands, from the current
/// directory and then in each search directory; after that the name with ".qvp" likewise. Each answer is
/// kept.
class PluginFinder {
public:
    explicit PluginFinder(const std::vector<SearchDirectory>& directories);

    struct Found {
        std::string path;      ///< absolute
        std::string identity;  ///< "" when there is no such file
    };
    const Found& find(const std::string& name) const;

private:
    Found search(const std::string& name) const;

    std::vector<std::string> directories_;
    mutable std::unordered_map<std::string, Found> found_;
};

}  // namespace qvp
