#pragma once

#include <QvPlatform/core/QvArray.h>

#include "QvPluginSystem/PluginFile.h"

#include <optional>
#include <string>
#include <vector>

namespace QvPluginSystem {

/// The extension, with its dot, of plugin libraries.
inline constexpr const char* kPluginExtension = ".qvp";

/// The directories that plugins are searched in: the default one and those that were added, by their texts
/// as they were given.
class PluginSearchPath {
public:
    PluginSearchPath();

    const Qv::QvArray<std::string>& effective() const { return effective_; }
    const Qv::QvArray<std::string>& added() const { return added_; }

    bool add(const std::string& directory);
    bool remove(const std::string& directory);
    /// Only the default directory: "plugins" beside this library.
    void reset();

    /// Changes with the directories.
    unsigned revision() const { return revision_; }

    struct Found {
        std::string path;
        PluginFile file;
    };

    /// The regular file called `name`: the name as it stands, from the current directory and then in each
    /// directory, and after that the name with the extension likewise.
    std::optional<Found> find(const std::string& name) const;

private:
    std::optional<Found> findExactly(const std::string& name) const;
    void addEffective(const std::string& directory);

    Qv::QvArray<std::string> effective_;
    // The directories' paths; empty where the text is relative, so that its path changes with the process's.
    std::vector<std::wstring> effectivePaths_;
    Qv::QvArray<std::string> added_;
    unsigned revision_ = 0;
};

}  // namespace QvPluginSystem
