#include "os/CopyFile.h"

#include "os/win32/Gate.h"

namespace os {

bool copyFile(const std::wstring& from, const std::wstring& to, bool overwrite) {
    return CopyFileW(win32::systemPath(from).c_str(), win32::systemPath(to).c_str(), !overwrite) != 0;
}

}  // namespace os
