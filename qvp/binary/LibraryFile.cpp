#include "binary/LibraryFile.h"

#include <QvPlatform/filesystem/File.h>

#include "binary/ElfReader.h"
#include "binary/PeReader.h"

#include <utility>

namespace qvp {
namespace {

using Problem = LibraryFile::Problem;
using Kind = LibraryFormat::Kind;

void setProblem(LibraryFile& file, Problem problem, const std::string& text) {
    file.problem = problem;
    file.errorText = text;
}

void setDamaged(LibraryFile& file, const std::string& text) { setProblem(file, Problem::damaged, text); }

void takeFileProblem(const FileContent& content, LibraryFile& file) {
    file.errorNumber = content.errorNumber();
    file.isDanglingLink = content.isDanglingLink();
    const bool isMissing = content.problem() == FileContent::Problem::missing;
    setProblem(file, isMissing ? Problem::missing : Problem::unreadable, content.errorText());
    if (content.problem() == FileContent::Problem::notAFile)
        setProblem(file, Problem::notALibrary, content.errorText());
}

// "a text file", "an ELF program, x86-64"
std::string withArticle(const std::string& description) {
    return (description.starts_with("ELF") || description.starts_with("empty") ? "an " : "a ") + description;
}

void setNotALibrary(LibraryFile& file) {
    setProblem(file, Problem::notALibrary,
               "it is " + withArticle(file.description) + ", not a shared library");
}

void readElf(const FileContent& content, Exports exports, LibraryFile& file) {
    const ElfReader elf(content);
    if (const std::string damage = elf.damage(); !damage.empty()) return setDamaged(file, damage);
    if (elf.isProgram()) {
        file.description = "ELF program, x86-64";
        return setNotALibrary(file);
    }
    file.buildId = elf.buildId();
    auto needed = elf.texts(ElfReader::Tag::needed);
    auto rpath = elf.text(ElfReader::Tag::rpath);
    auto runpath = elf.text(ElfReader::Tag::runpath);
    if (!needed || !rpath || !runpath) return setDamaged(file, "its string table is damaged");
    file.needed = std::move(*needed);
    if (elf.has(ElfReader::Tag::runpath))
        file.runpath = std::move(*runpath);
    else if (elf.has(ElfReader::Tag::rpath))
        file.rpath = std::move(*rpath);
    if (exports == Exports::skip) return;
    auto names = elf.exportedNames();
    if (!names) return setDamaged(file, "its symbol table is damaged");
    file.exportedNames = std::move(*names);
}

void readPe(const FileContent& content, Exports exports, LibraryFile& file) {
    PeReader library(content);
    if (const std::string damage = library.damage(); !damage.empty()) return setDamaged(file, damage);
    file.buildId = library.buildId();
    auto needed = library.imports();
    auto later = library.delayedImports();
    if (!needed || !later) return setDamaged(file, "its import table is damaged");
    file.needed = std::move(*needed);
    file.neededLater = std::move(*later);
    if (exports == Exports::skip) return;
    auto names = library.exportedNames();
    if (!names) return setDamaged(file, "its export table is damaged");
    file.exportedNames = std::move(*names);
}

}  // namespace

LibraryFile readLibraryContent(const FileContent& content, Exports exports) {
    LibraryFile file;
    file.size = content.size();
    file.modified = content.modified();
    if (content.problem() != FileContent::Problem::none) {
        takeFileProblem(content, file);
        return file;
    }
    const LibraryFormat format = recognizeFormat(content);
    file.kind = format.kind;
    file.description = format.description;
    if (!format.isLibrary)
        setNotALibrary(file);
    else if (!format.isX8664)
        setProblem(file, Problem::wrongArchitecture,
                   "it is " + withArticle(file.description) + ", and this system needs x86-64");
    else if (format.kind == Kind::elf)
        readElf(content, exports, file);
    else
        readPe(content, exports, file);
    return file;
}

LibraryFile readLibraryFile(const std::string& path, Exports exports) {
    const std::string absolute = QvPlatform::File(path).toUniversalPath();
    LibraryFile file = readLibraryContent(FileContent(absolute), exports);
    file.path = absolute;
    return file;
}

}  // namespace qvp
