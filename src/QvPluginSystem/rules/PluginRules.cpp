#include "QvPluginSystem/rules/PluginRules.h"

#include <QvPlatform/core/QvVersion.h>
#include <QvPlatform/filesystem/Directory.h>

#include "base/AsciiCase.h"

namespace QvPluginSystem::rules {

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

std::string cycleMessage(const std::string& plugin) { return "Circular dependency detected with " + plugin; }

std::string unsafeFileMessage(const std::string& path, const os::WeakPoint& weak) {
    return "Other users can change " + path + ": " + weak.path + " " + weak.why;
}

std::string messageFor(Unmet reason, const QvDependency& dependency) {
    switch (reason) {
        case Unmet::nameIsLoading:
        case Unmet::fileIsLoading:
            return cycleMessage(dependency.name);
        case Unmet::notFound:
            return "Could not find dependent plugin " + dependency.name;
        case Unmet::notInitialized:
            return "The following dependency has not been initialized : " + dependency.name;
        case Unmet::notCompatible:
            break;
    }
    return dependency.name + " is not compatible. Expected version " + dependency.version.toString();
}

}  // namespace QvPluginSystem::rules
