#pragma once

#include "support/TemporaryFolder.h"

#ifdef _WIN32
#include <windows.h>

#include <aclapi.h>
#include <sddl.h>
#endif

namespace support {

/// Lets everyone write a file or directory.
inline void letEveryoneWrite(const std::string& path) {
#ifdef _WIN32
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    BOOL isPresent = FALSE;
    BOOL isDefault = FALSE;
    PACL list = nullptr;
    ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:(A;;FA;;;WD)", SDDL_REVISION_1, &descriptor,
                                                         nullptr);
    GetSecurityDescriptorDacl(descriptor, &isPresent, &list, &isDefault);
    SetNamedSecurityInfoW(pathOf(path).make_preferred().wstring().data(), SE_FILE_OBJECT,
                          DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION, nullptr, nullptr,
                          list, nullptr);
    LocalFree(descriptor);
#else
    std::filesystem::permissions(pathOf(path), std::filesystem::perms(0777));
#endif
}

}  // namespace support
