// The tables of a loaded file are searched without reading outside the file, whatever they contain. The file
// is between two pages that cannot be read.

#include "os/posix/stack/CallFrameInfo.h"
#include "os/posix/stack/FileIdentity.h"

#include "Require.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace {

constexpr std::size_t kPage = 4096;
constexpr std::size_t kBytes = 2 * kPage;

std::uint8_t* makeFile() {
    void* const memory = mmap(nullptr, kBytes + 2 * kPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    fuzz::require(memory != MAP_FAILED);
    auto* const file = static_cast<std::uint8_t*>(memory) + kPage;
    fuzz::require(mprotect(file, kBytes, PROT_READ | PROT_WRITE) == 0);
    return file;
}

std::uint8_t* const file = makeFile();
link_map record{};
dl_find_object object{};

}  // namespace

// Stands in for the loader's. Whoever else walks the stack finds no files.
extern "C" int _dl_find_object(void* address, dl_find_object* result) noexcept {
    const auto offset = reinterpret_cast<std::uintptr_t>(address) - reinterpret_cast<std::uintptr_t>(file);
    if (offset >= kBytes) return -1;
    *result = object;
    return 0;
}

// The file's header with the segments begins at its begin. The table of functions ends at its end, so that
// what reads too far finds no memory. Each step on the way is an address that is looked for.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 4) return 0;
    const std::size_t head = std::min<std::size_t>(std::size_t{data[0]} * 4, size - 4);
    const std::size_t tables = size - 4 - head;
    std::memset(file, 0, kBytes);
    std::memcpy(file, data + 4, head);
    std::memcpy(file + kBytes - tables, data + 4 + head, tables);
    record.l_addr = reinterpret_cast<std::uintptr_t>(file);
    object.dlfo_map_start = file;
    object.dlfo_map_end = file + kBytes;
    object.dlfo_link_map = &record;
    object.dlfo_eh_frame = file + kBytes - tables;

    const std::uint64_t identity = os::posix::fileIdentity(object);
    const std::uintptr_t begin = record.l_addr;
    os::posix::CallFrameInfo info;
    for (std::uintptr_t address = begin + data[1]; address < begin + kBytes; address += 64 + data[2] * 8U) {
        os::posix::FrameRules rules;
        const std::uint64_t source = info.sourceOf(address);
        fuzz::require(identity == 0 || source == identity);
        if (info.find(address, rules)) fuzz::require(source != 0 && info.sourceOf(address) == source);
    }
    return 0;
}
