#include <QvPlatform/QvPluginSystem/LoadSharedLibrary.h>

#include <QvPlatform/diagnostics/Log.h>
#include <QvPlatform/filesystem/File.h>

#include "os/Filesystem.h"
#include "os/SharedLibrary.h"

namespace QvPluginSystem {
namespace {

constexpr std::size_t kErrorTextSize = 256;
char errorText[kErrorTextSize];

const char* keepErrorText(const std::string& text) {
    errorText[text.copy(errorText, kErrorTextSize - 1)] = '\0';
    return errorText;
}

}  // namespace

LoadSharedLibrary::LoadSharedLibrary(const std::string& path) {
    const QvPlatform::File file(path);
    const bool isThere = os::isReadableFile(file.widePath());
    std::string error;
    if (isThere) handle = os::openLibrary(file.toUniversalPath(), error);
    if (handle) return;
    const os::LastErrorKeeper lastError;  // for `getLastError`
    const char* reason = isThere ? keepErrorText(error) : "File could not be found";
    Qv::LogWarn("QvPluginManager : %s: (%s)\n", reason, path.c_str());
}

LoadSharedLibrary::LoadSharedLibrary(const LoadSharedLibrary& other) = default;
LoadSharedLibrary& LoadSharedLibrary::operator=(const LoadSharedLibrary& other) = default;

LoadSharedLibrary::~LoadSharedLibrary() {
    std::string ignored;
    if (handle) os::closeLibrary(handle, ignored);
}

const char* getLastError() { return keepErrorText(os::lastErrorText()); }

void* getSymbolAddress(void* handle, const char* name) {
    return handle && name ? os::findSymbol(handle, name) : nullptr;
}

}  // namespace QvPluginSystem
