#include "os/posix/stack/CodeReader.h"

#include <dwarf.h>

#include <bit>

namespace os::posix {

std::uint64_t CodeReader::uleb() {
    std::uint64_t value = 0;
    for (unsigned shift = 0; !atEnd(); shift += 7) {
        const auto byte = take<std::uint8_t>();
        if (shift < 64) value |= static_cast<std::uint64_t>(byte & 0x7f) << shift;
        if (byte < 0x80) break;
    }
    return value;
}

std::int64_t CodeReader::sleb() {
    std::uint64_t value = 0;
    unsigned shift = 0;
    std::uint8_t byte = 0;
    do {
        byte = take<std::uint8_t>();
        if (shift < 64) value |= static_cast<std::uint64_t>(byte & 0x7f) << shift;
        shift += 7;
    } while (byte >= 0x80 && !atEnd());
    if ((byte & 0x40) != 0 && shift < 64) value |= ~std::uint64_t{0} << shift;
    return static_cast<std::int64_t>(value);
}

std::uintptr_t CodeReader::pointer(std::uint8_t encoding) {
    if (encoding == DW_EH_PE_omit) return 0;
    const auto own = std::bit_cast<std::uintptr_t>(at_);
    std::uintptr_t value = 0;
    switch (encoding & 0x0f) {
        case DW_EH_PE_uleb128:
            value = uleb();
            break;
        case DW_EH_PE_udata2:
            value = take<std::uint16_t>();
            break;
        case DW_EH_PE_udata4:
            value = take<std::uint32_t>();
            break;
        case DW_EH_PE_sleb128:
            value = static_cast<std::uintptr_t>(sleb());
            break;
        case DW_EH_PE_sdata2:
            value = static_cast<std::uintptr_t>(std::int64_t{take<std::int16_t>()});
            break;
        case DW_EH_PE_sdata4:
            value = static_cast<std::uintptr_t>(std::int64_t{take<std::int32_t>()});
            break;
        default:
            value = take<std::uintptr_t>();
    }
    // Other bases do not occur in entries for this processor, so their values are never used.
    return (encoding & 0x70) == DW_EH_PE_pcrel ? own + value : value;
}

std::uint64_t checksumOf(CodeReader reader, std::uint64_t start) {
    std::uint64_t checksum = start;
    while (reader.end() - reader.at() >= 8) checksum = mixed(checksum, reader.take<std::uint64_t>());
    if (reader.end() - reader.at() >= 4) checksum = mixed(checksum, reader.take<std::uint32_t>());
    while (!reader.atEnd()) checksum = mixed(checksum, reader.take<std::uint8_t>());
    return checksum;
}

}  // namespace os::posix
