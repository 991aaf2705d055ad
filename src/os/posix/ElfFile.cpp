#include "os/posix/ElfFile.h"

#include <elf.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstring>

namespace os::posix {
namespace {

// One read reaches the header and the segment table of any library that a linker writes.
struct Head {
    char bytes[1024];
    std::size_t size = 0;
    Elf64_Off fileSize = 0;
};

bool readHead(const char* path, Head& head) {
    const int file = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) return false;
    const off_t end = lseek(file, 0, SEEK_END);  // fails for what is not a file
    const ssize_t count = end < 0 ? -1 : pread(file, head.bytes, sizeof head.bytes, 0);
    close(file);
    if (count < 0) return false;
    head.size = static_cast<std::size_t>(count);
    head.fileSize = static_cast<Elf64_Off>(end);
    return true;
}

bool endsBefore(const Head& head, Elf64_Off offset, Elf64_Off size) {
    return offset > head.fileSize || size > head.fileSize - offset;
}

}  // namespace

bool isTruncatedLibrary(const char* path) {
    Head head;
    Elf64_Ehdr header;
    if (!readHead(path, head) || head.size < sizeof header) return false;
    std::memcpy(&header, head.bytes, sizeof header);
    if (std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 || header.e_ident[EI_CLASS] != ELFCLASS64)
        return false;
    if (header.e_phentsize != sizeof(Elf64_Phdr)) return false;
    const Elf64_Off tableSize = Elf64_Off{header.e_phnum} * sizeof(Elf64_Phdr);
    if (endsBefore(head, header.e_phoff, tableSize)) return true;
    if (header.e_phoff + tableSize > head.size) return false;
    for (Elf64_Half i = 0; i < header.e_phnum; ++i) {
        Elf64_Phdr segment;
        std::memcpy(&segment, head.bytes + header.e_phoff + i * sizeof segment, sizeof segment);
        if (segment.p_type == PT_LOAD && endsBefore(head, segment.p_offset, segment.p_filesz)) return true;
    }
    return false;
}

}  // namespace os::posix
