#include "inspect/FileIdentity.h"

#include <QvPlatform/filesystem/File.h>

#include "inspect/PluginName.h"

namespace qvp {

std::string regularFileIdentity(const std::string& path) {
    const QvPlatform::File file(path);
    return file.exists() ? foldedCase(file.toUniversalPath()) : std::string();
}

}  // namespace qvp
