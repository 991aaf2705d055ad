#include "inspect/PluginFinder.h"

#include <QvPlatform/filesystem/File.h>

#include "QvPluginSystem/rules/PluginRules.h"

namespace qvp {

std::string regularFileIdentity(const std::string& path) {
    const QvPlatform::File file(path);
    return file.exists() ? QvPluginSystem::rules::foldedName(file.toUniversalPath()) : std::string();
}

}  // namespace qvp
