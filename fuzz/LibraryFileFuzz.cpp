// All readers take any bytes; what they return is at most a few times as long. The library's reader, which
// judges files before the loader maps them, agrees with the tool's.

#include "binary/LibraryFile.h"

#include <QvPlatform/filesystem/File.h>

#include "Require.h"
#include "os/posix/ElfFile.h"
#include "os/posix/PosixSupport.h"

#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <vector>

// Stand in for the library's: only `readLibraryFile` uses them, which is not called here.
QvPlatform::File::File(const std::string&) { fuzz::require(false); }
QvPlatform::File::~File() = default;
std::string QvPlatform::File::toUniversalPath() const { return {}; }

namespace {

void checkLibrarysReader(const std::string& bytes, const qvp::LibraryFile& read) {
    static const int file = memfd_create("library", MFD_CLOEXEC);
    static const std::string path = "/proc/self/fd/" + std::to_string(file);
    fuzz::require(ftruncate(file, 0) == 0 && lseek(file, 0, SEEK_SET) == 0);
    fuzz::require(os::posix::writeAll(file, bytes) == bytes.size());
    const os::posix::LinkNames names = os::posix::readLinkNames(path.c_str());
    const bool isWhole = os::posix::isWholeLibrary(path.c_str());
    const bool isTruncated = os::posix::isTruncatedLibrary(path.c_str());
    fuzz::require(!(isWhole && isTruncated));
    if (read.kind != qvp::LibraryFormat::Kind::elf) fuzz::require(!isWhole && !isTruncated);
    const bool isRead =
        read.kind == qvp::LibraryFormat::Kind::elf && read.problem == qvp::LibraryFile::Problem::none;
    if (isRead) fuzz::require(names.needed == read.needed && !isTruncated);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(data, data + size);
    const qvp::FileContent content = qvp::FileContent::ofBytes(bytes);
    const qvp::LibraryFile file = qvp::readLibraryContent(content, qvp::Exports::read);
    fuzz::require(file.size == size);
    fuzz::require(!file.description.empty());
    fuzz::require((file.problem == qvp::LibraryFile::Problem::none) == file.errorText.empty());
    for (const auto* names : {&file.needed, &file.neededLater, &file.exportedNames}) {
        std::size_t length = 0;
        for (const std::string& name : *names) length += name.size();
        fuzz::require(length <= 4 * size);
        fuzz::require(names->size() <= size);
    }
    checkLibrarysReader(bytes, file);
    return 0;
}
