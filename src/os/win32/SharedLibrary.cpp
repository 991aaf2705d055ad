#include "os/SharedLibrary.h"

#include "os/Filesystem.h"
#include "os/RefusedLibraries.h"
#include "os/win32/GuardedEntry.h"
#include "os/win32/Windows.h"

#include <cstddef>
#include <cstring>
#include <new>

namespace os {
namespace {

// Means that the text of this thread's last failure is stored here.
constexpr DWORD kOwnError = 0x20000000U | ERROR_DLL_INIT_FAILED;  // the bit is reserved for applications
thread_local std::string ownError;

void* failWith(const std::string& text, std::string& error) {
    error = ownError = text;
    SetLastError(kOwnError);
    return nullptr;
}

// Prevents the system from asking the user about a missing disk or library.
class SilentErrors {
public:
    SilentErrors() : previous_(SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX)) {}
    SilentErrors(const SilentErrors&) = delete;
    SilentErrors& operator=(const SilentErrors&) = delete;
    ~SilentErrors() { SetErrorMode(previous_); }

private:
    UINT previous_;
};

// Appends the program's folder to the system's search path, and restores the path later.
class ProgramFolderOnPath {
public:
    ProgramFolderOnPath() {
        const std::wstring program = win32::fileOfModule(nullptr);
        const std::wstring path = previous_.value_or(L"") + L';' + program.substr(0, program.rfind(L'\\'));
        SetEnvironmentVariableW(L"Path", path.c_str());
    }
    ProgramFolderOnPath(const ProgramFolderOnPath&) = delete;
    ProgramFolderOnPath& operator=(const ProgramFolderOnPath&) = delete;
    ~ProgramFolderOnPath() { SetEnvironmentVariableW(L"Path", previous_ ? previous_->c_str() : nullptr); }

private:
    const std::optional<std::wstring> previous_ = win32::variable(L"Path");
};

// The absolute native path, which is required to search next to the library. A dot is appended to a name
// without one, because otherwise the loader would append ".dll".
std::wstring loaderPath(const std::string& path) {
    const std::wstring wide = base::widen(path.c_str());
    std::wstring full = win32::filled(
        [&](wchar_t* buffer, DWORD size) { return GetFullPathNameW(wide.c_str(), size, buffer, nullptr); });
    if (full.find(L'.', full.find_last_of(L'\\') + 1) == std::wstring::npos) full += L'.';
    return full;
}

// Searches the library's folder first, then the program's. The search path is tried only if that fails,
// because no single call searches all three.
HMODULE load(const std::wstring& path) {
    HMODULE module = LoadLibraryExW(path.c_str(), nullptr,
                                    LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
    if (module || GetLastError() != ERROR_MOD_NOT_FOUND) return module;
    DWORD error = ERROR_SUCCESS;
    {
        const ProgramFolderOnPath programFolder;
        module = LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
        error = GetLastError();
    }
    SetLastError(error);
    return module;
}

// Copies an item out of the beginning of a file; false if it ends before.
template <typename Item>
bool readAt(const std::string& bytes, std::size_t offset, Item& item) {
    if (offset > bytes.size() || sizeof item > bytes.size() - offset) return false;
    std::memcpy(&item, bytes.data() + offset, sizeof item);
    return true;
}

bool hasAllSections(const std::string& headers, std::uint64_t size) {
    IMAGE_DOS_HEADER start{};
    IMAGE_NT_HEADERS64 header{};
    if (!readAt(headers, 0, start) || start.e_magic != IMAGE_DOS_SIGNATURE || start.e_lfanew < 0)
        return false;
    const auto headerOffset = static_cast<std::size_t>(start.e_lfanew);
    if (!readAt(headers, headerOffset, header) || header.Signature != IMAGE_NT_SIGNATURE) return false;
    std::size_t offset =
        headerOffset + offsetof(IMAGE_NT_HEADERS64, OptionalHeader) + header.FileHeader.SizeOfOptionalHeader;
    for (WORD i = 0; i < header.FileHeader.NumberOfSections; ++i, offset += sizeof(IMAGE_SECTION_HEADER)) {
        IMAGE_SECTION_HEADER section{};
        if (!readAt(headers, offset, section)) return false;
        if (std::uint64_t{section.PointerToRawData} + section.SizeOfRawData > size) return false;
    }
    return header.FileHeader.NumberOfSections > 0;
}

}  // namespace

void* openLibrary(const std::string& path, std::string& error) {
    if (areLibrariesRefused()) {
        const std::string reason = refusalOfFile(path);
        if (!reason.empty()) return failWith(reason, error);
    }
    const SilentErrors silent;
    const win32::GuardedEntry guard;
    HMODULE module = load(loaderPath(path));
    if (module) return module;
    if (!guard.thrown()) {
        error = lastErrorText();
        return nullptr;
    }
    const std::string reason = initializersThrew(*guard.thrown());
    refuseLibrary(path, {}, reason);
    return failWith(reason, error);
}

// Opening without sharing for writing comes last, because it disturbs a writer that opens the file meanwhile.
bool isCompleteLibrary(const std::wstring& path) {
    constexpr std::size_t kMostHeaders = 65'536;
    std::string headers(kMostHeaders, '\0');
    const auto stamp = fileStamp(path);
    const auto count = readPart(path, 0, headers);
    if (!stamp || !count) return false;
    headers.resize(*count);
    return hasAllSections(headers, stamp->size) &&
           win32::Handle(CreateFileW(win32::systemPath(path).c_str(), GENERIC_READ,
                                     FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING, 0,
                                     nullptr));
}

bool closeLibrary(void* handle, std::string& error) {
    if (FreeLibrary(static_cast<HMODULE>(handle))) return true;
    try {
        error = lastErrorText();
    } catch (const std::bad_alloc&) {
        error.clear();
    }
    return false;
}

void* findSymbol(void* handle, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle), name));
}

std::string lastErrorText() {
    const DWORD error = GetLastError();
    return error == kOwnError ? ownError : win32::errorText(error);
}

LastErrorKeeper::LastErrorKeeper() noexcept : error_(GetLastError()) {}

LastErrorKeeper::~LastErrorKeeper() { SetLastError(error_); }

}  // namespace os
