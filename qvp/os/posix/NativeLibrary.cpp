#include "os/NativeLibrary.h"

#include "binary/ElfReader.h"

#include <QvPlatform/filesystem/File.h>

#include <elf.h>
#include <link.h>
#include <sys/auxv.h>

#include <array>
#include <cstring>
#include <string_view>
#include <utility>

namespace qvp {

const LibraryFormat::Kind kNativeFormat = LibraryFormat::Kind::elf;

namespace {

void setDamaged(LibraryFile& file, const std::string& text) {
    file.problem = LibraryFile::Problem::damaged;
    file.errorText = text;
}

// What the loader puts for $LIB is built into it; the C library's own folder shows it.
std::string libraryFolderName() {
    std::string folder = "lib";
    const auto take = [](dl_phdr_info* info, std::size_t, void* result) {
        const std::string_view path = info->dlpi_name;
        const auto slash = path.rfind('/');
        if (slash == std::string_view::npos || path.substr(slash) != "/libc.so.6") return 0;
        *static_cast<std::string*>(result) = path.substr(1, slash - 1);
        return 1;
    };
    dl_iterate_phdr(take, &folder);
    return folder.starts_with("usr/") ? folder.substr(4) : folder;
}

std::string platformName() {
    // The system keeps it as a number.
    const unsigned long address = getauxval(AT_PLATFORM);
    const char* name = nullptr;
    std::memcpy(&name, &address, sizeof name);
    return name ? name : "";
}

std::string expanded(std::string text, const std::string& origin) {
    static const std::string library = libraryFolderName();
    static const std::string platform = platformName();
    const std::array<std::pair<const char*, const std::string*>, 6> values{{{"${ORIGIN}", &origin},
                                                                            {"$ORIGIN", &origin},
                                                                            {"${LIB}", &library},
                                                                            {"$LIB", &library},
                                                                            {"${PLATFORM}", &platform},
                                                                            {"$PLATFORM", &platform}}};
    for (const auto& [name, value] : values) {
        for (auto at = text.find(name); at != std::string::npos; at = text.find(name, at + value->size()))
            text.replace(at, std::strlen(name), *value);
    }
    return text;
}

// The folders of a run path, without a slash at the end; an empty one is the current directory.
std::vector<std::string> foldersOf(std::string_view runPath, const std::string& origin) {
    std::vector<std::string> folders;
    for (bool isLast = false; !isLast;) {
        const auto end = runPath.find(':');
        isLast = end == std::string_view::npos;
        std::string folder = expanded(std::string(runPath.substr(0, end)), origin);
        while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
        folders.push_back(folder.empty() ? "." : folder);
        if (!isLast) runPath.remove_prefix(end + 1);
    }
    return folders;
}

// The texts of all entries with this tag; false when one lies outside the string table.
bool readTexts(const ElfReader& elf, GElf_Sxword tag, std::vector<std::string>& texts) {
    for (const GElf_Dyn& entry : elf.dynamic()) {
        if (entry.d_tag != tag) continue;
        auto text = elf.text(entry.d_un.d_val);
        if (!text) return false;
        texts.push_back(std::move(*text));
    }
    return true;
}

bool readRunPaths(const ElfReader& elf, LibraryFile& file) {
    std::string origin = QvPlatform::File(file.path).getFolderPath();
    if (origin.size() > 1) origin.pop_back();
    std::vector<std::string> first;
    std::vector<std::string> after;
    if (!readTexts(elf, DT_RPATH, first) || !readTexts(elf, DT_RUNPATH, after)) return false;
    if (!after.empty()) file.searchedAfter = foldersOf(after.front(), origin);
    if (after.empty() && !first.empty()) file.searchedFirst = foldersOf(first.front(), origin);
    return true;
}

}  // namespace

void readNativeLibrary(const FileContent& content, Exports exports, LibraryFile& file) {
    const ElfReader elf(content);
    if (const std::string damage = elf.damage(); !damage.empty()) return setDamaged(file, damage);
    if ((elf.value(DT_FLAGS_1).value_or(0) & DF_1_PIE) != 0) {
        file.problem = LibraryFile::Problem::notALibrary;
        file.description = "ELF program, x86-64";
        file.errorText = "it is an " + file.description + ", not a shared library";
        return;
    }
    file.buildId = elf.buildId();
    if (!readTexts(elf, DT_NEEDED, file.needed) || !readRunPaths(elf, file))
        return setDamaged(file, "its string table is damaged");
    if (exports == Exports::skip) return;
    auto names = elf.exportedNames();
    if (!names) return setDamaged(file, "its symbol table is damaged");
    file.exportedNames = std::move(*names);
}

}  // namespace qvp
