#include "loader/LoaderRules.h"

#include "base/AsciiCase.h"
#include "os/win32/Windows.h"

#include <QvPlatform/core/StringConversions.h>

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace qvp {
namespace {

struct Folder {
    std::string path;  ///< without a slash at the end
    const char* why;
};

std::string universalPath(const std::wstring& path) {
    return QvPlatform::StringConversions::toNarrow(os::win32::universal(path));
}

void addFolder(std::vector<Folder>& folders, std::wstring path, const char* why) {
    while (path.size() > 1 && (path.back() == L'\\' || path.back() == L'/')) path.pop_back();
    if (!path.empty()) folders.push_back({universalPath(path), why});
}

void addPathFolders(std::vector<Folder>& folders) {
    const std::wstring whole = os::win32::variable(L"PATH").value_or(std::wstring());
    for (std::size_t begin = 0; begin < whole.size();) {
        const auto end = std::min(whole.find(L';', begin), whole.size());
        std::wstring folder = whole.substr(begin, end - begin);
        std::erase(folder, L'"');
        addFolder(folders, folder, "PATH");
        begin = end + 1;
    }
}

// Those that are searched after the folder of the library that is opened by its whole path.
std::vector<Folder> commonFolders() {
    std::vector<Folder> folders;
    std::wstring program = os::win32::fileOfModule(nullptr);
    program.resize(std::min(program.size(), program.rfind(L'\\')));
    addFolder(folders, std::move(program), "program's folder");
    addFolder(folders,
              os::win32::filled([](wchar_t* text, DWORD size) { return GetSystemDirectoryW(text, size); }),
              "system folder");
    addFolder(folders,
              os::win32::filled([](wchar_t* text, DWORD size) { return GetWindowsDirectoryW(text, size); }),
              "Windows folder");
    addFolder(folders,
              os::win32::filled([](wchar_t* text, DWORD size) { return GetCurrentDirectoryW(size, text); }),
              "current directory");
    addPathFolders(folders);
    return folders;
}

// The loader takes a loaded module for every name that is equal to its file's.
bool takeIfLoaded(const std::string& fileName, NeededLibrary& library) {
    HMODULE module = GetModuleHandleW(QvPlatform::StringConversions::toWide(fileName).c_str());
    if (!module) return false;
    library.path = universalPath(os::win32::fileOfModule(module));
    library.foundBy = "already loaded";
    return true;
}

// Names that stand for sets of functions; the system knows which of its libraries have them.
bool takeIfApiSet(const std::string& comparedName, NeededLibrary& library) {
    if (!comparedName.starts_with("api-ms-win-") && !comparedName.starts_with("ext-ms-")) return false;
    library.path = library.name;
    library.foundBy = "system API set";
    return true;
}

}  // namespace

std::optional<LibraryFile> findAsLoader(const DependencyChain& chain, NeededLibrary& library) {
    static const std::vector<Folder> kCommon = commonFolders();
    const bool hasExtension = library.name.find('.') != std::string::npos;
    const std::string fileName = hasExtension ? library.name : library.name + ".dll";
    if (takeIfLoaded(fileName, library) || takeIfApiSet(comparedLibraryName(library.name), library))
        return std::nullopt;
    std::vector<Folder> folders{{ownFolder(chain), "own folder"}};
    folders.insert(folders.end(), kCommon.begin(), kCommon.end());
    for (const Folder& folder : folders) {
        library.lookedIn.push_back(folder.path);
        auto file = takeIfLibrary(folder.path + "/" + fileName, folder.why, library);
        if (!file) continue;
        // What the system's own libraries need is the system's affair.
        return library.foundBy == std::string("system folder") ? std::nullopt : file;
    }
    return std::nullopt;
}

std::vector<std::string> librariesOfHost() { return {}; }

std::vector<std::string> librariesOfSystem() { return {}; }

bool isForThisSystem(const LibraryFile& file) { return file.kind == LibraryFormat::Kind::pe; }

std::string comparedLibraryName(const std::string& name) { return base::foldedCase(name); }

}  // namespace qvp
