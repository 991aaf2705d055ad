// Finds the rules in four steps: the loaded file that contains the address (`_dl_find_object`, which takes no
// lock), a binary search in the linker's table (".eh_frame_hdr"), the function's entry (FDE) and its common
// entry (CIE) in ".eh_frame", and their programs, run by `runRuleProgram`. Rules of the usual kind are
// cached; the key holds a checksum of both entries, so a file loaded later at the same address gets its own
// rules.
//
// Runs in signal handlers. The tables are read directly, so the file must stay loaded during the call. What
// the reader does not know (another encoding of the table, version of the entry or return address register)
// fails. After a failure `rules` is unspecified.

#include "os/posix/stack/CallFrameInfo.h"

#include "os/posix/stack/CallFrameCache.h"
#include "os/posix/stack/CallFrameProgram.h"

#include <dlfcn.h>
#include <dwarf.h>

#include <bit>

namespace os::posix {
namespace {

// The bytes of an entry after its length field; empty for the terminator and for 64-bit lengths.
CodeReader entryAt(const std::uint8_t* entry) {
    const auto length = CodeReader(entry, entry + 4).take<std::uint32_t>();
    const bool isKnown = length != 0 && length != 0xffffffff;
    return {entry + 4, isKnown ? entry + 4 + length : entry + 4};
}

void readAugmentation(CodeReader& reader, const char* letters, CommonEntry& common) {
    reader.uleb();
    for (++letters; *letters; ++letters) {
        if (*letters == 'R') common.pointerEncoding = reader.take<std::uint8_t>();
        if (*letters == 'L') reader.take<std::uint8_t>();
        if (*letters == 'S') common.isSignalFrame = true;
        if (*letters == 'P') {
            const auto encoding = reader.take<std::uint8_t>();
            reader.pointer(encoding);
        }
    }
}

bool readCommonEntry(const std::uint8_t* entry, CommonEntry& common) {
    CodeReader reader = entryAt(entry);
    if (reader.atEnd() || reader.take<std::uint32_t>() != 0) return false;
    const auto version = reader.take<std::uint8_t>();
    if (version != 1 && version != 3) return false;
    const char* const letters = std::bit_cast<const char*>(reader.at());
    reader.skip(__builtin_strlen(letters) + 1);
    common.codeUnit = reader.uleb();
    common.dataUnit = reader.sleb();
    const std::uint64_t returnAddress = version == 1 ? reader.take<std::uint8_t>() : reader.uleb();
    common.hasAugmentation = *letters == 'z';
    CodeReader augmentation = reader;
    if (common.hasAugmentation) {
        readAugmentation(augmentation, letters, common);
        reader.skip(reader.uleb());
    }
    common.program = reader;
    return returnAddress == kReturnAddress;
}

bool readFunctionEntry(const std::uint8_t* entry, std::uintptr_t address, FunctionEntry& function) {
    CodeReader reader = entryAt(entry);
    if (reader.atEnd()) return false;
    const std::uint8_t* const base = reader.at();
    if (!readCommonEntry(base - reader.take<std::uint32_t>(), function.common)) return false;
    function.begin = reader.pointer(function.common.pointerEncoding);
    const std::uintptr_t size = reader.pointer(function.common.pointerEncoding & 0x0f);
    if (function.common.hasAugmentation) reader.skip(reader.uleb());
    function.program = reader;
    return address - function.begin < size;
}

std::uint64_t checksumOf(CodeReader reader, std::uint64_t checksum) {
    const auto bytes = static_cast<std::size_t>(reader.end() - reader.at());
    const std::uint8_t* const at = reader.at();
    std::size_t i = 0;
    for (; i + sizeof(std::uint64_t) <= bytes; i += sizeof(std::uint64_t)) {
        std::uint64_t word = 0;
        __builtin_memcpy(&word, at + i, sizeof word);
        checksum = mixed(checksum ^ word);
    }
    for (; i < bytes; ++i) checksum = mixed(checksum ^ at[i]);
    return checksum;
}

// Checksum of the function's entry and of the common entry it refers to.
std::uint64_t checksumOf(const std::uint8_t* entry) {
    const CodeReader function = entryAt(entry);
    CodeReader head = function;
    const auto distance = head.take<std::uint32_t>();
    return checksumOf(entryAt(function.at() - distance), checksumOf(function, 0));
}

// Searches the linker's table, sorted by the functions' addresses; its rows are pairs of offsets from the
// table.
const std::uint8_t* findEntry(const std::uint8_t* table, std::uintptr_t address) {
    constexpr std::uint8_t kRelativeToTable32 = DW_EH_PE_datarel | DW_EH_PE_sdata4;
    CodeReader reader(table, table + 64);
    const auto version = reader.take<std::uint8_t>();
    const auto entriesEncoding = reader.take<std::uint8_t>();
    const auto countEncoding = reader.take<std::uint8_t>();
    if (version != 1 || countEncoding == DW_EH_PE_omit || reader.take<std::uint8_t>() != kRelativeToTable32)
        return nullptr;
    reader.pointer(entriesEncoding);
    std::uintptr_t count = reader.pointer(countEncoding);
    const std::uint8_t* row = reader.at();
    constexpr std::size_t kRow = 8;
    const auto field = [&](const std::uint8_t* at) {
        return table + CodeReader(at, at + 4).take<std::int32_t>();
    };
    if (count == 0 || std::bit_cast<std::uintptr_t>(field(row)) > address) return nullptr;
    while (count > 1) {
        const std::uint8_t* const middle = row + count / 2 * kRow;
        const bool isBehind = std::bit_cast<std::uintptr_t>(field(middle)) <= address;
        if (isBehind) row = middle;
        count = isBehind ? count - count / 2 : count / 2;
    }
    return field(row + 4);
}

}  // namespace

bool findFrameRules(std::uintptr_t address, FrameRules& rules) {
    dl_find_object object{};
    if (_dl_find_object(std::bit_cast<void*>(address), &object) != 0 || !object.dlfo_eh_frame) return false;
    const std::uint8_t* const entry =
        findEntry(static_cast<const std::uint8_t*>(object.dlfo_eh_frame), address);
    if (!entry) return false;
    const FrameRulesKey key{address, std::bit_cast<std::uintptr_t>(entry), checksumOf(entry)};
    if (findCached(key, rules)) return true;
    FunctionEntry function;
    if (!readFunctionEntry(entry, address, function)) return false;
    rules = FrameRules();
    rules.isSignalFrame = function.common.isSignalFrame;
    if (!runRuleProgram(function, address, rules)) return false;
    keepCached(key, rules);
    return true;
}

}  // namespace os::posix
