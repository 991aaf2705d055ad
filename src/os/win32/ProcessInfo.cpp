#include "os/ProcessInfo.h"

#include "os/win32/Windows.h"

#include <psapi.h>

namespace os {
namespace {

constexpr DWORD kRead = 1;
constexpr DWORD kWrite = 2;

// The access token of the calling thread.
win32::Handle openOwnToken() {
    constexpr DWORD kAccess = TOKEN_QUERY | TOKEN_DUPLICATE;
    HANDLE token = nullptr;
    if (!OpenThreadToken(GetCurrentThread(), kAccess, FALSE, &token) && GetLastError() == ERROR_NO_TOKEN)
        OpenProcessToken(GetCurrentProcess(), kAccess, &token);
    return win32::Handle(token);
}

win32::Handle asImpersonation(const win32::Handle& token) {
    HANDLE duplicate = nullptr;
    return win32::Handle(DuplicateToken(token.get(), SecurityImpersonation, &duplicate) ? duplicate
                                                                                        : nullptr);
}

// An object that only the built-in administrators may use.
class AdministratorsOnly {
public:
    AdministratorsOnly() {
        DWORD size = sizeof sid_;
        PACL list = reinterpret_cast<PACL>(list_);
        isValid_ = CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, sid_, &size) &&
                   InitializeSecurityDescriptor(&descriptor_, SECURITY_DESCRIPTOR_REVISION) &&
                   InitializeAcl(list, sizeof list_, ACL_REVISION) &&
                   AddAccessAllowedAce(list, ACL_REVISION, kRead | kWrite, sid_) &&
                   SetSecurityDescriptorDacl(&descriptor_, TRUE, list, FALSE) &&
                   SetSecurityDescriptorGroup(&descriptor_, sid_, FALSE) &&
                   SetSecurityDescriptorOwner(&descriptor_, sid_, FALSE) &&
                   IsValidSecurityDescriptor(&descriptor_);
    }

    bool mayBeReadBy(HANDLE token) {
        GENERIC_MAPPING mapping{kRead, kWrite, 0, kRead | kWrite};
        PRIVILEGE_SET privileges{};
        DWORD privilegesSize = sizeof privileges;
        DWORD granted = 0;
        BOOL isGranted = FALSE;
        return isValid_ &&
               AccessCheck(&descriptor_, token, kRead, &mapping, &privileges, &privilegesSize, &granted,
                           &isGranted) &&
               isGranted;
    }

private:
    alignas(8) BYTE sid_[SECURITY_MAX_SID_SIZE] = {};
    alignas(8) BYTE list_[sizeof(ACL) + sizeof(ACCESS_ALLOWED_ACE) + SECURITY_MAX_SID_SIZE] = {};
    SECURITY_DESCRIPTOR descriptor_{};
    bool isValid_ = false;
};

}  // namespace

std::string hostName() {
    wchar_t name[256] = L"";
    DWORD size = sizeof name / sizeof *name;
    return GetComputerNameExW(ComputerNameDnsHostname, name, &size) ? base::narrow(name) : std::string();
}

unsigned int processId() { return GetCurrentProcessId(); }

// A process that may not be opened is running.
bool isProcessRunning(unsigned int id) {
    const win32::Handle process(OpenProcess(SYNCHRONIZE, FALSE, id));
    if (!process) return GetLastError() == ERROR_ACCESS_DENIED;
    return WaitForSingleObject(process.get(), 0) == WAIT_TIMEOUT;
}

std::uint64_t residentBytes() {
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof counters;
    return K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters) ? counters.WorkingSetSize
                                                                                    : 0;
}

std::optional<std::uint64_t> freeDiskBytes(const std::string& directory) {
    ULARGE_INTEGER available{};
    if (!GetDiskFreeSpaceExW(base::widen(directory).c_str(), &available, nullptr, nullptr))
        return std::nullopt;
    return available.QuadPart;
}

long standardTimeBias() {
    TIME_ZONE_INFORMATION zone{};
    const DWORD identifier = GetTimeZoneInformation(&zone);
    return identifier == TIME_ZONE_ID_UNKNOWN || identifier == TIME_ZONE_ID_INVALID ? 0 : zone.Bias;
}

bool isAdministrator() {
    const win32::Handle token = openOwnToken();
    if (!token) return false;
    const win32::Handle impersonation = asImpersonation(token);
    return impersonation && AdministratorsOnly().mayBeReadBy(impersonation.get());
}

}  // namespace os
