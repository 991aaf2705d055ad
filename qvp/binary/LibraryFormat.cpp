#include "binary/LibraryFormat.h"

#include <algorithm>
#include <array>
#include <utility>

namespace qvp {
namespace {

constexpr std::size_t kHeadSize = 512;

template <std::size_t kCount>
std::string nameIn(const std::array<std::pair<unsigned, const char*>, kCount>& names, unsigned value) {
    const auto found =
        std::find_if(names.begin(), names.end(), [=](const auto& entry) { return entry.first == value; });
    return found == names.end() ? "an unknown processor (number " + std::to_string(value) + ")"
                                : found->second;
}

constexpr std::array<std::pair<unsigned, const char*>, 9> kElfMachines{{{3, "x86"},
                                                                        {8, "MIPS"},
                                                                        {20, "PowerPC"},
                                                                        {21, "64-bit PowerPC"},
                                                                        {22, "S/390"},
                                                                        {40, "ARM"},
                                                                        {62, "x86-64"},
                                                                        {183, "AArch64"},
                                                                        {243, "RISC-V"}}};
constexpr std::array<std::pair<unsigned, const char*>, 5> kPeMachines{
    {{0x014C, "x86"}, {0x01C4, "ARM"}, {0x0200, "Itanium"}, {0x8664, "x86-64"}, {0xAA64, "AArch64"}}};

// Big-endian files keep the two numbers the other way round.
std::uint16_t elfNumber(const std::string& head, std::size_t offset, bool isLittle) {
    const auto value = numberAt<std::uint16_t>(head, offset);
    return isLittle ? value : static_cast<std::uint16_t>(value << 8U | value >> 8U);
}

bool isKnownMachine(unsigned value) {
    return std::any_of(kElfMachines.begin(), kElfMachines.end(),
                       [=](const auto& entry) { return entry.first == value; });
}

LibraryFormat elfFormat(const std::string& head) {
    constexpr std::uint8_t kClass64 = 2;
    constexpr std::uint8_t kLittleEndian = 1;
    constexpr std::uint16_t kSharedObject = 3;
    constexpr std::uint16_t kX8664 = 62;
    constexpr std::array<const char*, 5> kKinds{"ELF file", "ELF object file", "ELF program",
                                                "ELF shared library", "ELF core file"};
    const bool isLittle = numberAt<std::uint8_t>(head, 5) == kLittleEndian;
    const bool is64 = numberAt<std::uint8_t>(head, 4) == kClass64;
    const std::uint16_t type = elfNumber(head, 16, isLittle);
    const std::uint16_t machine = elfNumber(head, 18, isLittle);
    if (!isKnownMachine(machine) && isKnownMachine(elfNumber(head, 18, !isLittle)))
        return {LibraryFormat::Kind::elf, false, false,
                "ELF file with a damaged header: its byte order contradicts its processor"};
    LibraryFormat format{LibraryFormat::Kind::elf, type == kSharedObject,
                         machine == kX8664 && is64 && isLittle, kKinds[type < kKinds.size() ? type : 0]};
    format.description += ", " + nameIn(kElfMachines, machine);
    if (machine == kX8664 && !is64) format.description += " with 32-bit pointers";
    return format;
}

LibraryFormat peFormat(const FileContent& content, std::uint32_t headerOffset) {
    constexpr std::uint16_t kX8664 = 0x8664;
    constexpr std::uint16_t kIsLibrary = 0x2000;
    const std::string header = content.read(headerOffset, 24);
    if (header.compare(0, 4, std::string("PE\0\0", 4)) != 0)
        return {LibraryFormat::Kind::other, false, false, "DOS program"};
    const auto machine = numberAt<std::uint16_t>(header, 4);
    const bool isLibrary = (numberAt<std::uint16_t>(header, 22) & kIsLibrary) != 0;
    return {LibraryFormat::Kind::pe, isLibrary, machine == kX8664,
            (isLibrary ? "PE library, " : "PE program, ") + nameIn(kPeMachines, machine)};
}

bool isText(const std::string& head) {
    return std::none_of(head.begin(), head.end(), [](char byte) {
        const auto value = static_cast<unsigned char>(byte);
        return value == 0x7F ||
               (value < 0x20 && value != '\t' && value != '\n' && value != '\r' && value != '\f');
    });
}

std::string otherDescription(const std::string& head) {
    if (head.empty()) return "empty file";
    if (head.starts_with("!<arch>\n")) return "static library";
    if (head.starts_with("#!")) return "script";
    if (isText(head)) return "text file";
    return "data file";
}

}  // namespace

const char* systemOf(LibraryFormat::Kind kind) {
    if (kind == LibraryFormat::Kind::other) return "";
    return kind == LibraryFormat::Kind::elf ? "Linux" : "Windows";
}

LibraryFormat recognizeFormat(const FileContent& content) {
    constexpr std::size_t kPeOffsetPlace = 0x3C;
    const std::string head = content.read(0, kHeadSize);
    if (head.starts_with("\x7F"
                         "ELF"))
        return elfFormat(head);
    if (head.starts_with("MZ")) return peFormat(content, numberAt<std::uint32_t>(head, kPeOffsetPlace));
    return {LibraryFormat::Kind::other, false, false, otherDescription(head)};
}

}  // namespace qvp
