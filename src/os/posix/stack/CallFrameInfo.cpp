// Finds the rules in four steps: the loaded file that contains the address (`_dl_find_object`, which takes no
// lock), a binary search in the linker's table (".eh_frame_hdr"), the function's entry (FDE) and its common
// entry (CIE) in ".eh_frame", and their programs, run by `runRuleProgram`. Rules of the usual kind are cached
// by address and the file's identity, so a file loaded later at the same address gets its own rules. In files
// without a build identifier, a checksum of both entries takes its place.
//
// Runs in signal handlers. The tables are read directly, so the file must stay loaded during the call. They
// may be damaged, so nothing outside the file's mapping is read. What the reader does not know (another
// encoding of the table, version of the entry or return address register) fails. After a failure `rules` is
// unspecified.

#include "os/posix/stack/CallFrameInfo.h"

#include "os/posix/stack/CallFrameCache.h"
#include "os/posix/stack/CallFrameProgram.h"
#include "os/posix/stack/FileIdentity.h"

#include <dlfcn.h>
#include <dwarf.h>

#include <bit>
#include <cstring>
#include <utility>

namespace os::posix {
namespace {

// The bytes of an entry after its length field; empty for the terminator, for 64-bit lengths, and if the
// entry is not in the file.
CodeReader entryAt(const CodeReader& file, const std::uint8_t* entry) {
    CodeReader rest = file.from(entry);
    const auto length = rest.take<std::uint32_t>();
    return length <= rest.end() - rest.at() ? CodeReader(rest.at(), rest.at() + length) : CodeReader();
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

bool readCommonEntry(const CodeReader& file, const std::uint8_t* entry, CommonEntry& common) {
    CodeReader reader = entryAt(file, entry);
    if (reader.atEnd() || reader.take<std::uint32_t>() != 0) return false;
    const auto version = reader.take<std::uint8_t>();
    if (version != 1 && version != 3) return false;
    const auto* const letters = reinterpret_cast<const char*>(reader.at());
    reader.skip(strnlen(letters, static_cast<std::size_t>(reader.end() - reader.at())));
    if (reader.atEnd()) return false;
    reader.skip(1);
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

bool readFunctionEntry(const CodeReader& file, const std::uint8_t* entry, std::uintptr_t address,
                       FunctionEntry& function) {
    CodeReader reader = entryAt(file, entry);
    if (reader.atEnd()) return false;
    const std::uint8_t* const base = reader.at();
    if (!readCommonEntry(file, base - reader.take<std::uint32_t>(), function.common)) return false;
    function.begin = reader.pointer(function.common.pointerEncoding);
    const std::uintptr_t size = reader.pointer(function.common.pointerEncoding & 0x0f);
    if (function.common.hasAugmentation) reader.skip(reader.uleb());
    function.program = reader;
    return address - function.begin < size;
}

// Checksum of the function's entry and of the common entry it refers to.
std::uint64_t checksumOf(const CodeReader& file, const std::uint8_t* entry) {
    const CodeReader function = entryAt(file, entry);
    CodeReader head = function;
    const auto distance = head.take<std::uint32_t>();
    return posix::checksumOf(entryAt(file, function.at() - distance), posix::checksumOf(function, 0));
}

}  // namespace

CodeReader CallFrameInfo::File::memory() const {
    const auto* const first = std::bit_cast<const std::uint8_t*>(begin);
    return {first, first + bytes};
}

CallFrameInfo::File CallFrameInfo::fileAt(std::uintptr_t address) {
    dl_find_object object;
    if (_dl_find_object(std::bit_cast<void*>(address), &object) != 0 || !object.dlfo_eh_frame) return {};
    const auto begin = reinterpret_cast<std::uintptr_t>(object.dlfo_map_start);
    return {begin, reinterpret_cast<std::uintptr_t>(object.dlfo_map_end) - begin, fileIdentity(object),
            static_cast<const std::uint8_t*>(object.dlfo_eh_frame)};
}

std::uint64_t CallFrameInfo::sourceOf(std::uintptr_t address) {
    if (!file_.contains(address)) {
        std::swap(file_, other_);
        if (!file_.contains(address)) file_ = fileAt(address);
    }
    if (file_.identity != 0) return file_.identity;
    const std::uint8_t* const entry = findEntry(address);
    return entry ? mixed(reinterpret_cast<std::uintptr_t>(entry), checksumOf(file_.memory(), entry)) : 0;
}

// Searches the linker's table, sorted by the functions' addresses; its rows are pairs of offsets from the
// table.
const std::uint8_t* CallFrameInfo::findEntry(std::uintptr_t address) const {
    constexpr std::uint8_t kRelativeToTable32 = DW_EH_PE_datarel | DW_EH_PE_sdata4;
    if (!file_.table) return nullptr;
    CodeReader reader = file_.memory().from(file_.table);
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
        return file_.table + CodeReader(at, at + 4).take<std::int32_t>();
    };
    if (count > static_cast<std::uintptr_t>(reader.end() - row) / kRow) return nullptr;
    if (count == 0 || reinterpret_cast<std::uintptr_t>(field(row)) > address) return nullptr;
    while (count > 1) {
        const std::uint8_t* const middle = row + count / 2 * kRow;
        const bool isBehind = reinterpret_cast<std::uintptr_t>(field(middle)) <= address;
        if (isBehind) row = middle;
        count = isBehind ? count - count / 2 : count / 2;
    }
    return field(row + 4);
}

bool CallFrameInfo::find(std::uintptr_t address, FrameRules& rules) {
    const std::uint64_t source = sourceOf(address);
    const std::uint8_t* const entry = findEntry(address);
    FunctionEntry function;
    if (!entry || !readFunctionEntry(file_.memory(), entry, address, function)) return false;
    rules = FrameRules();
    rules.isSignalFrame = function.common.isSignalFrame;
    if (!runRuleProgram(function, address, rules)) return false;
    keepCached(address, source, rules);
    return true;
}

}  // namespace os::posix
