#include "binary/LibraryFile.h"

#include "binary/FileContent.h"
#include "binary/LibraryFormat.h"
#include "os/NativeLibrary.h"

#include <QvPlatform/filesystem/File.h>

namespace qvp {
namespace {

using Problem = LibraryFile::Problem;

void setProblem(LibraryFile& file, Problem problem, const std::string& text) {
    file.problem = problem;
    file.errorText = text;
}

void takeFileProblem(const FileContent& content, LibraryFile& file) {
    file.errorNumber = content.errorNumber();
    const bool isMissing = content.problem() == FileContent::Problem::missing;
    setProblem(file, isMissing ? Problem::missing : Problem::unreadable, content.errorText());
    if (content.problem() == FileContent::Problem::notAFile)
        setProblem(file, Problem::notALibrary, "it is not a file");
}

// "a text file", "an ELF program, x86-64"
std::string withArticle(const std::string& description) {
    return (description.starts_with("ELF") || description.starts_with("empty") ? "an " : "a ") + description;
}

bool isForThisSystem(const LibraryFormat& format, LibraryFile& file) {
    const std::string what = withArticle(format.description);
    if (!format.isLibrary) {
        setProblem(file, Problem::notALibrary, "it is " + what + ", not a shared library");
    } else if (format.kind != kNativeFormat) {
        const bool isElf = format.kind == LibraryFormat::Kind::elf;
        setProblem(file, Problem::wrongArchitecture,
                   std::string("it is a ") + (isElf ? "Linux" : "Windows") + " library (" +
                       format.description + ")");
    } else if (!format.isX8664) {
        setProblem(file, Problem::wrongArchitecture, "it is " + what + ", and this system needs x86-64");
    }
    return file.problem == Problem::none;
}

}  // namespace

LibraryFile readLibraryFile(const std::string& path, Exports exports) {
    LibraryFile file;
    file.path = QvPlatform::File(path).toUniversalPath();
    const FileContent content(file.path);
    file.size = content.size();
    file.modified = content.modified();
    if (content.problem() != FileContent::Problem::none) {
        takeFileProblem(content, file);
        return file;
    }
    const LibraryFormat format = recognizeFormat(content);
    file.description = format.description;
    if (isForThisSystem(format, file)) readNativeLibrary(content, exports, file);
    return file;
}

}  // namespace qvp
