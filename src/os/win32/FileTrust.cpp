// A right counts as granted if an entry of the access list grants it, whatever other entries deny.

#include "os/FileTrust.h"

#include "os/win32/Windows.h"

#include <aclapi.h>
#include <sddl.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <initializer_list>
#include <memory>

namespace os {
namespace {

struct FreeLocal {
    void operator()(void* memory) const { LocalFree(memory); }
};
using LocalMemory = std::unique_ptr<void, FreeLocal>;

std::string textOf(PSID identifier) {
    wchar_t* text = nullptr;
    if (!ConvertSidToStringSidW(identifier, &text)) return "an unknown user";
    const LocalMemory owner(text);
    return base::narrow(text);
}

bool isWellKnown(PSID identifier, std::initializer_list<WELL_KNOWN_SID_TYPE> kinds) {
    return std::any_of(kinds.begin(), kinds.end(),
                       [=](WELL_KNOWN_SID_TYPE kind) { return IsWellKnownSid(identifier, kind) != 0; });
}

bool isOwnUser(PSID identifier) {
    HANDLE opened = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened)) return false;
    const win32::Handle token(opened);
    alignas(TOKEN_USER) std::array<std::byte, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> buffer{};
    DWORD size = 0;
    return GetTokenInformation(token.get(), TokenUser, buffer.data(), static_cast<DWORD>(buffer.size()),
                               &size) != 0 &&
           EqualSid(reinterpret_cast<const TOKEN_USER*>(buffer.data())->User.Sid, identifier) != 0;
}

bool isInstaller(PSID identifier) {
    PSID installer = nullptr;
    if (!ConvertStringSidToSidW(L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464",
                                &installer))
        return false;
    const LocalMemory owner(installer);
    return EqualSid(installer, identifier) != 0;
}

bool isTrusted(PSID identifier) {
    return isWellKnown(identifier, {WinLocalSystemSid, WinBuiltinAdministratorsSid}) ||
           isOwnUser(identifier) || isInstaller(identifier);
}

// Who may do one of these things; "" if only trusted users. Entries that only directories below inherit do
// not count, nor those that stand for the owner.
std::string grantedTo(PACL list, DWORD rights) {
    for (DWORD i = 0; i < list->AceCount; ++i) {
        void* entry = nullptr;
        if (!GetAce(list, i, &entry)) continue;
        auto* const grant = static_cast<ACCESS_ALLOWED_ACE*>(entry);
        const bool isGrant = grant->Header.AceType == ACCESS_ALLOWED_ACE_TYPE ||
                             grant->Header.AceType == ACCESS_ALLOWED_CALLBACK_ACE_TYPE;
        if (!isGrant || (grant->Header.AceFlags & INHERIT_ONLY_ACE) != 0 || (grant->Mask & rights) == 0)
            continue;
        const PSID identifier = &grant->SidStart;
        if (isWellKnown(identifier, {WinWorldSid})) return "everyone";
        if (!isTrusted(identifier) &&
            !isWellKnown(identifier, {WinCreatorOwnerSid, WinCreatorOwnerRightsSid}))
            return textOf(identifier);
    }
    return {};
}

// In a directory, the right to add directories harms nothing that is there; everybody has it in a drive's
// root.
std::string weaknessOf(HANDLE file, bool isDirectory) {
    constexpr DWORD kRights =
        FILE_WRITE_DATA | FILE_DELETE_CHILD | DELETE | WRITE_DAC | WRITE_OWNER | GENERIC_WRITE | GENERIC_ALL;
    PSID owner = nullptr;
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD error =
        GetSecurityInfo(file, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner,
                        nullptr, &list, nullptr, &descriptor);
    const LocalMemory memory(descriptor);
    if (error != ERROR_SUCCESS) return "has rights that cannot be read";
    if (!owner || !isTrusted(owner)) return "belongs to " + (owner ? textOf(owner) : std::string("nobody"));
    if (!list) return "is writable by everyone";
    const std::string other = grantedTo(list, isDirectory ? kRights : kRights | FILE_APPEND_DATA);
    return other.empty() ? other : "is writable by " + other;
}

std::optional<WeakPoint> judge(const std::wstring& path, bool isDirectory) {
    constexpr DWORD kSharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const win32::Handle file(CreateFileW(win32::systemPath(path).c_str(), READ_CONTROL, kSharing, nullptr,
                                         OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    const DWORD error = GetLastError();
    const std::string text = base::narrow(win32::withoutFinalSlash(path));
    if (file) {
        const std::string why = weaknessOf(file.get(), isDirectory);
        return why.empty() ? std::nullopt : std::optional(WeakPoint{text, why});
    }
    if (error != ERROR_ACCESS_DENIED) return std::nullopt;
    return WeakPoint{text, "has rights that cannot be read"};
}

// From the drive or the share down.
std::optional<WeakPoint> judgeAll(const std::wstring& path) {
    const bool isShare = path.starts_with(L"//");
    std::size_t end = isShare ? path.find(L'/', path.find(L'/', 2) + 1) : path.find(L'/');
    for (; end < path.size(); end = path.find(L'/', end + 1)) {
        if (auto weak = judge(path.substr(0, end + 1), true)) return weak;
    }
    return path.ends_with(L'/') ? std::nullopt : judge(path, false);
}

std::wstring withoutPrefix(const std::wstring& path) {
    if (path.starts_with(L"//?/UNC/")) return L"//" + path.substr(8);
    return path.starts_with(L"//?/") ? path.substr(4) : path;
}

}  // namespace

// First the path as it stands, with the directories of links, and then where it leads.
std::optional<WeakPoint> findWeakPoint(const std::string& path) {
    const std::wstring wide = base::widen(path);
    if (auto weak = judgeAll(wide)) return weak;
    const win32::Handle file(CreateFileW(win32::systemPath(wide).c_str(), 0,
                                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                         OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (!file) return std::nullopt;
    const std::wstring final = win32::universal(win32::filled([&](wchar_t* buffer, DWORD size) {
        return GetFinalPathNameByHandleW(file.get(), buffer, size, FILE_NAME_NORMALIZED);
    }));
    return judgeAll(withoutPrefix(final) + (wide.ends_with(L'/') ? L"/" : L""));
}

}  // namespace os
