#include "os/WriteFile.h"

#include <QvPlatform/core/StringConversions.h>

#include <fstream>

namespace qvp {

bool writeFile(const std::string& path, const std::string& content) {
    std::filebuf file;
    if (!file.open(QvPlatform::StringConversions::toWide(path).c_str(), std::ios::out | std::ios::binary))
        return false;
    const auto size = static_cast<std::streamsize>(content.size());
    return file.sputn(content.data(), size) == size && file.close() != nullptr;
}

}  // namespace qvp
