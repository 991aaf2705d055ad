#include "QvPluginSystem/rules/PluginRules.h"

#include <QvPlatform/core/QvVersion.h>
#include <QvPlatform/filesystem/Directory.h>

#include "base/AsciiCase.h"
#include "base/Shortened.h"

namespace QvPluginSystem::rules {
namespace {

// A name is whatever a plugin says, of any length.
std::string shown(const std::string& name) { return base::shortened(name, 4096); }

}  // namespace

std::vector<QvPlatform::File> pluginFilesIn(const std::string& directory) {
    std::vector<QvPlatform::File> files = QvPlatform::Directory(directory).files();
    std::erase_if(files, [](const QvPlatform::File& file) { return file.getExtension() != kExtension; });
    return files;
}

bool isSameName(std::string_view one, std::string_view other) { return base::equalFolded(one, other); }

std::string foldedName(std::string name) { return base::foldedCase(std::move(name)); }

bool satisfies(const QvPluginInfo& plugin, const QvDependency& dependency) {
    using Qv::QvVersion;
    return isSameName(plugin.name, dependency.name) &&
           QvVersion::compare(plugin.version, dependency.version) >= 0 &&
           QvVersion::compare(plugin.compatibilityVersion, dependency.version) <= 0;
}

std::string cycleMessage(const std::string& plugin) {
    return "Circular dependency detected with " + shown(plugin);
}

std::string unsafeFileMessage(const std::string& path, const os::WeakPoint& weak) {
    return "Other users can change " + path + ": " + weak.path + " " + weak.why;
}

std::string messageFor(Unmet reason, const QvDependency& dependency) {
    const std::string name = shown(dependency.name);
    switch (reason) {
        case Unmet::nameIsLoading:
        case Unmet::fileIsLoading:
            return cycleMessage(name);
        case Unmet::notFound:
            return "Could not find dependent plugin " + name;
        case Unmet::notInitialized:
            return "The following dependency has not been initialized : " + name;
        case Unmet::notCompatible:
            break;
    }
    return name + " is not compatible. Expected version " + dependency.version.toString();
}

}  // namespace QvPluginSystem::rules
