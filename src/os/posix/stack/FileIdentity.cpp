// The first page of a loaded file is nearly always readable, but asking the system, and then searching the
// file's headers, costs more than the rest of a walk. So the answers are kept for files that agree in all
// that the loader knows of them. A kept address is in the first page, and what is there is checked again.

#include "os/posix/stack/FileIdentity.h"

#include "os/posix/stack/LocalMemory.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cstring>

namespace os::posix {
namespace {

constexpr std::size_t kPage = 4096;
constexpr std::uint32_t kGnu = 0x00554e47;  // the owner of the note

std::uint64_t mappingKeyOf(const dl_find_object& file) {
    const auto word = [](const void* address) { return reinterpret_cast<std::uintptr_t>(address); };
    return mixed(word(file.dlfo_map_start), word(file.dlfo_map_end)) +
           mixed(word(file.dlfo_link_map), word(file.dlfo_eh_frame));
}

std::uintptr_t beginOf(const dl_find_object& file) {
    return reinterpret_cast<std::uintptr_t>(file.dlfo_map_start);
}

/// What is known of a file: where the note with its build identifier is, else where it begins. Both words
/// are written without a lock; a mixture of two writers' words does not fit any mapping.
struct KnownFile {
    std::atomic<std::uint64_t> address{0};
    std::atomic<std::uint64_t> check{0};
};
constinit std::array<KnownFile, 4096> knownFiles;  // many more than files, to keep them apart

std::uint64_t checkOf(std::uint64_t mapping, std::uintptr_t address) { return mapping ^ mixed(address, 0); }

/// 0 if nothing is known; otherwise the file's first page is readable.
std::uintptr_t knownAddress(std::uint64_t mapping) {
    const KnownFile& known = knownFiles[mapping % knownFiles.size()];
    const std::uint64_t address = known.address.load(std::memory_order_relaxed);
    return known.check.load(std::memory_order_relaxed) == checkOf(mapping, address) ? address : 0;
}

void keepAddress(std::uint64_t mapping, std::uintptr_t address) {
    KnownFile& known = knownFiles[mapping % knownFiles.size()];
    known.address.store(address, std::memory_order_relaxed);
    known.check.store(checkOf(mapping, address), std::memory_order_relaxed);
}

bool isReadable(const dl_find_object& file) {
    if (knownAddress(mappingKeyOf(file)) != 0) return true;
    if (!LocalMemory::isReadable(beginOf(file))) return false;
    keepAddress(mappingKeyOf(file), beginOf(file));
    return true;
}

constexpr std::uint32_t padded(std::uint32_t bytes) { return (bytes + 3) / 4 * 4; }

// Goes to the end of the note. Returns its content if it is the build identifier, complete.
CodeReader takeIdentifier(CodeReader& notes) {
    const auto nameBytes = notes.take<std::uint32_t>();
    const auto bytes = notes.take<std::uint32_t>();
    const auto type = notes.take<std::uint32_t>();
    CodeReader name = notes;
    notes.skip(padded(nameBytes));
    const CodeReader content = notes;
    notes.skip(padded(bytes));
    const bool isIdentifier = type == NT_GNU_BUILD_ID && name.take<std::uint32_t>() == kGnu;
    const bool isComplete = bytes <= content.end() - content.at();
    return isIdentifier && isComplete ? CodeReader(content.at(), content.at() + bytes) : CodeReader();
}

/// Finds the note and its content; an empty one if the file has no build identifier.
CodeReader findIdentifier(const dl_find_object& file, const std::uint8_t*& note) {
    for (const auto& header : programHeaders(file)) {
        if (header.p_type != PT_NOTE) continue;
        for (CodeReader notes = bytesOf(file, header); !notes.atEnd();) {
            note = notes.at();
            if (const CodeReader found = takeIdentifier(notes); !found.atEnd()) return found;
        }
    }
    return {};
}

CodeReader identifierOf(const dl_find_object& file, std::uint64_t mapping) {
    const std::uintptr_t end = beginOf(file) + kPage;
    if (const std::uintptr_t known = knownAddress(mapping); known != 0) {
        CodeReader notes(std::bit_cast<const std::uint8_t*>(known), std::bit_cast<const std::uint8_t*>(end));
        if (const CodeReader found = takeIdentifier(notes); !found.atEnd()) return found;
    }
    const std::uint8_t* note = nullptr;
    const CodeReader found = findIdentifier(file, note);
    if (!found.atEnd() && reinterpret_cast<std::uintptr_t>(found.end()) <= end)
        keepAddress(mapping, reinterpret_cast<std::uintptr_t>(note));
    return found;
}

}  // namespace

std::span<const ElfW(Phdr)> programHeaders(const dl_find_object& file) {
    if (!isReadable(file)) return {};
    const auto* const begin = static_cast<const char*>(file.dlfo_map_start);
    const auto& header = *static_cast<const ElfW(Ehdr)*>(file.dlfo_map_start);
    if (std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 || header.e_phoff > kPage ||
        header.e_phoff % alignof(ElfW(Phdr)) != 0 ||
        header.e_phoff + header.e_phnum * sizeof(ElfW(Phdr)) > kPage)
        return {};
    return {reinterpret_cast<const ElfW(Phdr)*>(begin + header.e_phoff), header.e_phnum};
}

CodeReader bytesOf(const dl_find_object& file, const ElfW(Phdr) & segment) {
    const std::uintptr_t begin = file.dlfo_link_map->l_addr + segment.p_vaddr;
    const std::uintptr_t mapped = reinterpret_cast<std::uintptr_t>(file.dlfo_map_end) - beginOf(file);
    const std::uintptr_t offset = begin - beginOf(file);
    if (offset >= mapped) return {};
    const auto* const bytes = std::bit_cast<const std::uint8_t*>(begin);
    return {bytes, bytes + std::min<std::uintptr_t>(segment.p_memsz, mapped - offset)};
}

std::uint64_t fileIdentity(const dl_find_object& file) {
    const std::uint64_t mapping = mappingKeyOf(file);
    const CodeReader identifier = identifierOf(file, mapping);
    return identifier.atEnd() ? 0 : checksumOf(identifier, mapping) | 1U;
}

}  // namespace os::posix
