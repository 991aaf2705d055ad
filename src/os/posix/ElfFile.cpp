// All values in the file are checked against its size and the tables that were read, because it may be
// damaged.

#include "os/posix/ElfFile.h"

#include "os/posix/PosixSupport.h"

#include <elf.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

namespace os::posix {
namespace {

constexpr Elf64_Off kUsualHeaders = 1024;         // the file's header and 17 segments
constexpr Elf64_Xword kLargestTable = 1U << 26U;  // a damaged file may contain any size

class ElfFile {
public:
    explicit ElfFile(const char* path) : file_(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
        const off_t end = file_ ? lseek(file_.get(), 0, SEEK_END) : -1;  // fails for what is not a file
        if (end < 0) return;
        size_ = static_cast<Elf64_Off>(end);
        const std::vector<char> start = read<char>(0, std::min<Elf64_Off>(size_, kUsualHeaders));
        Elf64_Ehdr header{};
        if (start.size() < sizeof header) return;
        std::memcpy(&header, start.data(), sizeof header);
        if (!isKnown(header)) return;
        const Elf64_Off tableSize = Elf64_Off{header.e_phnum} * sizeof(Elf64_Phdr);
        isCut_ = endsBefore(header.e_phoff, tableSize);
        hasSections_ = !endsBefore(header.e_shoff, Elf64_Off{header.e_shnum} * header.e_shentsize);
        segments_ = segmentsIn(start, header.e_phoff, tableSize);
    }

    bool isTruncated() const {
        return isCut_ || std::any_of(segments_.begin(), segments_.end(), [this](const Elf64_Phdr& segment) {
                   return segment.p_type == PT_LOAD && endsBefore(segment.p_offset, segment.p_filesz);
               });
    }

    /// Linkers write the table of sections last.
    bool isWhole() const { return !segments_.empty() && hasSections_ && !isTruncated(); }

    std::vector<Elf64_Dyn> dynamicEntries() const {
        for (const Elf64_Phdr& segment : segments_) {
            if (segment.p_type == PT_DYNAMIC) return read<Elf64_Dyn>(segment.p_offset, segment.p_filesz);
        }
        return {};
    }

    /// The bytes in the file that are loaded to the address.
    std::vector<char> bytesAt(Elf64_Addr address, Elf64_Xword size) const {
        for (const Elf64_Phdr& segment : segments_) {
            const Elf64_Xword inside = address - segment.p_vaddr;
            if (segment.p_type != PT_LOAD || address < segment.p_vaddr || inside >= segment.p_filesz)
                continue;
            return read<char>(segment.p_offset + inside, std::min(size, segment.p_filesz - inside));
        }
        return {};
    }

private:
    static bool isKnown(const Elf64_Ehdr& header) {
        return std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 && header.e_ident[EI_CLASS] == ELFCLASS64 &&
               header.e_phentsize == sizeof(Elf64_Phdr);
    }

    bool endsBefore(Elf64_Off offset, Elf64_Xword size) const {
        return offset > size_ || size > size_ - offset;
    }

    /// Most files have their table in the part that is already in memory.
    std::vector<Elf64_Phdr> segmentsIn(const std::vector<char>& start, Elf64_Off offset,
                                       Elf64_Off size) const {
        if (offset > start.size() || size > start.size() - offset) return read<Elf64_Phdr>(offset, size);
        std::vector<Elf64_Phdr> segments(size / sizeof(Elf64_Phdr));
        if (size != 0) std::memcpy(segments.data(), start.data() + offset, size);
        return segments;
    }

    /// The complete items of a part of the file; empty if the file is too short.
    template <typename Item>
    std::vector<Item> read(Elf64_Off offset, Elf64_Xword size) const {
        if (endsBefore(offset, size) || size > kLargestTable) return {};
        std::vector<Item> items(size / sizeof(Item));
        const std::size_t wanted = items.size() * sizeof(Item);
        const ssize_t count = pread(file_.get(), items.data(), wanted, static_cast<off_t>(offset));
        if (count < 0 || static_cast<std::size_t>(count) != wanted) return {};
        return items;
    }

    Descriptor file_;
    Elf64_Off size_ = 0;
    bool isCut_ = false;
    bool hasSections_ = false;
    std::vector<Elf64_Phdr> segments_;
};

Elf64_Xword valueOf(const std::vector<Elf64_Dyn>& entries, Elf64_Sxword tag) {
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [=](const Elf64_Dyn& entry) { return entry.d_tag == tag; });
    return found == entries.end() ? 0 : found->d_un.d_val;
}

std::string textAt(const std::vector<char>& texts, Elf64_Xword offset) {
    if (offset >= texts.size()) return {};
    const std::string_view rest(texts.data() + offset, texts.size() - offset);
    return std::string(rest.substr(0, rest.find('\0')));
}

}  // namespace

bool isTruncatedLibrary(const char* path) { return ElfFile(path).isTruncated(); }

bool isWholeLibrary(const char* path) { return ElfFile(path).isWhole(); }

LinkNames readLinkNames(const char* path) {
    const ElfFile file(path);
    const std::vector<Elf64_Dyn> entries = file.dynamicEntries();
    const std::vector<char> texts = file.bytesAt(valueOf(entries, DT_STRTAB), valueOf(entries, DT_STRSZ));
    LinkNames names;
    for (const Elf64_Dyn& entry : entries) {
        if (entry.d_tag == DT_NULL) break;
        if (entry.d_tag == DT_SONAME) names.own = textAt(texts, entry.d_un.d_val);
        if (entry.d_tag == DT_NEEDED) names.needed.push_back(textAt(texts, entry.d_un.d_val));
    }
    return names;
}

}  // namespace os::posix
