#include "os/OutputStream.h"

#include "os/win32/Gate.h"

namespace os {

std::FILE* openForAppending(const std::string& path) {
    std::FILE* const stream = _wfopen(widen(path.c_str()).c_str(), L"aN");
    if (stream) std::setvbuf(stream, nullptr, _IONBF, 0);
    return stream;
}

void writeToStandardError(std::string_view text) { std::fwrite(text.data(), 1, text.size(), stderr); }

// The system refuses to remove what is open.
bool removeUnlessOpen(const std::string& path, std::string& error) {
    if (DeleteFileW(widen(path).c_str())) return true;
    error = win32::errorText(GetLastError());
    return false;
}

}  // namespace os
