#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Small libraries for x86-64, made from bytes: just the parts that a loader looks at. `elfLayout` and
/// `peLayout` name the offsets of what tests damage.
namespace support {

struct LibraryImage {
    std::vector<std::string> needed;
    std::vector<std::string> exported;
    std::string runpath{};         ///< ELF only
    std::size_t repeats = 1;       ///< entries for each needed library, all with the same name
    std::string neededVersions{};  ///< ELF only: the table of versions that it needs
};

inline std::vector<std::string> entryPoints() {
    return {"GetPluginInfo", "InitializePlugin", "UninitializePlugin", "GetPluginBuildInfo"};
}

/// Little-endian.
inline std::string number(std::uint64_t value, std::size_t size) {
    std::string bytes;
    for (; size > 0; --size, value >>= 8U) bytes += static_cast<char>(value & 0xFFU);
    return bytes;
}

inline std::string with(std::string image, std::size_t offset, std::uint64_t value, std::size_t size) {
    return image.replace(offset, size, number(value, size));
}

/// Texts one after the other, each with a zero at its end; `base` is the address of the first one.
struct TextTable {
    std::uint64_t base = 0;
    std::string bytes{};

    std::uint64_t add(const std::string& text) {
        const std::uint64_t address = base + bytes.size();
        bytes += text + '\0';
        return address;
    }
};

namespace elfLayout {
inline constexpr std::size_t kSegmentOffset = 32;
inline constexpr std::size_t kSegmentEntrySize = 54;
inline constexpr std::size_t kSegmentCount = 56;
inline constexpr std::size_t kLoadSegment = 64;
inline constexpr std::size_t kDynamicSegment = kLoadSegment + 56;
inline constexpr std::size_t kSizeInSegment = 32;
inline constexpr std::size_t kHash = kLoadSegment + 3 * 56;
inline constexpr std::size_t kSymbolCount = kHash + 4;
inline constexpr std::size_t kNote = kHash + 8;
inline constexpr std::size_t kDynamic = kNote + 20;
}  // namespace elfLayout

/// Its build id is "0102ff7f"; the first dynamic entries are those of the needed libraries.
inline std::string elfImage(const LibraryImage& facts) {
    using namespace elfLayout;
    TextTable texts;
    texts.add("");
    std::string symbols(24, '\0');
    for (const std::string& name : facts.exported)
        symbols += number(texts.add(name), 4) + number(0x12, 2) + number(1, 2) + number(0, 16);
    std::string dynamic;
    const auto add = [&](std::uint64_t tag, std::uint64_t value) {
        dynamic += number(tag, 8) + number(value, 8);
    };
    for (const std::string& name : facts.needed) {
        const std::uint64_t text = texts.add(name);
        for (std::size_t i = 0; i < facts.repeats; ++i) add(1, text);
    }
    if (!facts.runpath.empty()) add(29, texts.add(facts.runpath));
    const std::size_t symbolsAt = kDynamic + dynamic.size() + (facts.neededVersions.empty() ? 5 : 6) * 16;
    const std::size_t textsAt = symbolsAt + symbols.size();
    const std::size_t versionsAt = textsAt + texts.bytes.size();
    if (!facts.neededVersions.empty()) add(0x6FFFFFFE, versionsAt);
    add(4, kHash);
    add(5, textsAt);
    add(6, symbolsAt);
    add(10, texts.bytes.size());
    add(0, 0);
    const std::size_t size = versionsAt + facts.neededVersions.size();
    const auto segment = [](std::uint64_t type, std::uint64_t at, std::uint64_t length) {
        return number(type, 8) + number(at, 8) + number(at, 8) + number(at, 8) + number(length, 8) +
               number(length, 8) + number(8, 8);
    };
    return "\x7F" + std::string("ELF\2\1\1") + std::string(9, '\0') + number(3, 2) + number(62, 2) +
           number(1, 4) + number(0, 8) + number(kLoadSegment, 8) + number(0, 8) + number(0, 4) +
           number(64, 2) + number(56, 2) + number(3, 2) + number(0, 6) + segment(1, 0, size) +
           segment(2, kDynamic, dynamic.size()) + segment(4, kNote, 20) + number(1, 4) +
           number(symbols.size() / 24, 4) + number(4, 4) + number(4, 4) + number(3, 4) +
           std::string("GNU\0", 4) + "\x01\x02\xFF\x7F" + dynamic + symbols + texts.bytes +
           facts.neededVersions;
}

namespace peLayout {
inline constexpr std::size_t kHeader = 64;
inline constexpr std::size_t kSectionCount = kHeader + 6;
inline constexpr std::size_t kOptional = kHeader + 24;
inline constexpr std::size_t kExportDirectory = kOptional + 112;
inline constexpr std::size_t kImportDirectory = kExportDirectory + 8;
inline constexpr std::size_t kSectionTable = kOptional + 240;
inline constexpr std::size_t kSectionSize = kSectionTable + 16;
inline constexpr std::size_t kSection = 0x200;
inline constexpr std::size_t kExportCount = kSection + 24;
inline constexpr std::size_t kAddress = 0x1000;
}  // namespace peLayout

/// Its build id is the identifier 0, 0, ... and the age 0x01020304. The section begins with the export table.
inline std::string peImage(const LibraryImage& facts) {
    using namespace peLayout;
    const std::size_t debugAt = 40;
    const std::size_t importsAt = debugAt + 28 + 24;
    const std::size_t addressesAt = importsAt + 20 * (facts.needed.size() * facts.repeats + 1);
    TextTable texts{kAddress + addressesAt + 4 * facts.exported.size()};
    std::string imports;
    for (const std::string& name : facts.needed) {
        const std::uint64_t text = texts.add(name);
        for (std::size_t i = 0; i < facts.repeats; ++i)
            imports += number(0, 12) + number(text, 4) + number(0, 4);
    }
    std::string addresses;
    for (const std::string& name : facts.exported) addresses += number(texts.add(name), 4);
    const std::string section = number(0, 24) + number(facts.exported.size(), 4) + number(0, 4) +
                                number(kAddress + addressesAt, 4) + number(0, 4) + number(0, 12) +
                                number(2, 4) + number(24, 4) + number(kAddress + debugAt + 28, 4) +
                                number(0, 4) + "RSDS" + std::string(16, '\0') + number(0x04030201, 4) +
                                imports + std::string(20, '\0') + addresses + texts.bytes;
    std::string directories =
        number(kAddress, 4) + number(40, 4) + number(kAddress + importsAt, 4) + number(20, 4);
    directories +=
        std::string(32, '\0') + number(kAddress + debugAt, 4) + number(28, 4) + std::string(72, '\0');
    std::string image = "MZ" + std::string(58, '\0') + number(kHeader, 4) + std::string("PE\0\0", 4) +
                        number(0x8664, 2) + number(1, 2) + number(0, 12) + number(240, 2) +
                        number(0x2022, 2) + number(0x20B, 2) + std::string(58, '\0') + number(kSection, 4) +
                        std::string(44, '\0') + number(16, 4) + directories;
    image += std::string(8, '\0') + number(section.size(), 4) + number(kAddress, 4) +
             number(section.size(), 4) + number(kSection, 4) + std::string(16, '\0');
    image.resize(kSection, '\0');
    return image + section;
}

}  // namespace support
