#include "os/posix/stack/LocalDebugFile.h"

#include "os/posix/PosixSupport.h"
#include "os/posix/stack/DebugLibrary.h"

#include <fcntl.h>

#include <array>
#include <cstring>
#include <vector>

namespace os::posix {
namespace {

// The checksum of links to debugging information, four bits at a time.
class LinkChecksum {
public:
    void add(const std::vector<char>& bytes, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i) {
            value_ ^= static_cast<unsigned char>(bytes[i]);
            value_ = value_ >> 4U ^ kTable[value_ & 15U];
            value_ = value_ >> 4U ^ kTable[value_ & 15U];
        }
    }
    GElf_Word value() const { return ~value_; }

private:
    static constexpr std::array<GElf_Word, 16> kTable = [] {
        std::array<GElf_Word, 16> table{};
        for (GElf_Word i = 0; i < table.size(); ++i) {
            GElf_Word entry = i;
            for (int bit = 0; bit < 4; ++bit) entry = entry >> 1U ^ ((entry & 1U) != 0 ? 0xedb88320U : 0U);
            table[i] = entry;
        }
        return table;
    }();

    GElf_Word value_ = ~GElf_Word{0};
};

bool hasChecksum(int file, GElf_Word expected) {
    std::vector<char> bytes(std::size_t{1} << 16U);
    LinkChecksum checksum;
    ssize_t size = 0;
    for (off_t at = 0; (size = pread(file, bytes.data(), bytes.size(), at)) > 0; at += size)
        checksum.add(bytes, static_cast<std::size_t>(size));
    return size == 0 && checksum.value() == expected;
}

int openLinked(const std::string& path, GElf_Word checksum, char** found) {
    Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file || !hasChecksum(file.get(), checksum)) return -1;
    *found = strdup(path.c_str());
    return *found ? file.release() : -1;
}

int findLinked(const std::string& file, const std::string& link, GElf_Word checksum, char** found) {
    const std::string folder = file.substr(0, file.rfind('/') + 1);
    const std::string candidates[] = {folder + link, folder + ".debug/" + link,
                                      "/usr/lib/debug" + folder + link};
    for (const std::string& path : candidates)
        if (const int opened = openLinked(path, checksum, found); opened >= 0) return opened;
    return -1;
}

}  // namespace

// Without a checksum, the requested file is one that several others share; it has a build identifier.
int findLocalDebugFile(Dwfl_Module* module, void** userData, const char* moduleName, Dwarf_Addr base,
                       const char* file, const char* link, GElf_Word checksum, char** found) {
    const DebugLibrary* const library = DebugLibrary::get();
    if (!library) return -1;
    const unsigned char* identifier = nullptr;
    GElf_Addr address = 0;
    if (library->dwfl_module_build_id(module, &identifier, &address) > 0) {
        const int opened = library->dwfl_build_id_find_debuginfo(module, userData, moduleName, base, file,
                                                                 link, checksum, found);
        if (opened >= 0) return opened;
    }
    if (!file || *file != '/' || !link || checksum == 0) return -1;
    try {
        return findLinked(file, link, checksum, found);
    } catch (const std::bad_alloc&) {
        return -1;
    }
}

}  // namespace os::posix
