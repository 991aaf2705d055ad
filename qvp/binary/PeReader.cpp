#include "binary/PeReader.h"

#include "base/Hexadecimal.h"
#include "binary/LibraryFormat.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace qvp {
namespace {

constexpr std::size_t kPeOffsetPlace = 0x3C;
constexpr std::size_t kFileHeaderSize = 24;  // with the signature
constexpr std::size_t kDirectoriesPlace = 112;
constexpr std::size_t kSectionSize = 40;
constexpr std::size_t kLongestName = 32768;

constexpr std::size_t kExports = 0;
constexpr std::size_t kImports = 1;
constexpr std::size_t kDebug = 6;
constexpr std::size_t kDelayedImports = 13;

}  // namespace

PeReader::PeReader(const FileContent& content) : content_(content), readingLeft_(16 * content.size()) {
    readHeaders();
}

void PeReader::readHeaders() {
    const std::uint32_t begin = number32(content_.read(kPeOffsetPlace, 4), 0);
    const std::string fileHeader = content_.read(begin, kFileHeaderSize);
    const std::size_t sectionCount = numberAt<std::uint16_t>(fileHeader, 6);
    const std::size_t optionalSize = numberAt<std::uint16_t>(fileHeader, 20);
    const std::uint64_t optionalBegin = std::uint64_t{begin} + kFileHeaderSize;
    const std::string optional = content_.read(optionalBegin, optionalSize);
    const std::string table = content_.read(optionalBegin + optionalSize, sectionCount * kSectionSize);
    constexpr std::uint16_t k64Bit = 0x20B;
    if (optional.size() < kDirectoriesPlace || numberAt<std::uint16_t>(optional, 0) != k64Bit) {
        damage_ = "its header is damaged";
        return;
    }
    if (optional.size() < optionalSize || table.size() < sectionCount * kSectionSize)
        damage_ = "it is cut short";
    const std::size_t directoryCount = std::min<std::size_t>(number32(optional, 108), directories_.size());
    for (std::size_t i = 0; i < directoryCount; ++i)
        directories_[i] = {number32(optional, kDirectoriesPlace + 8 * i),
                           number32(optional, kDirectoriesPlace + 8 * i + 4)};
    sections_.push_back({0, number32(optional, 60), 0});
    takeSections(table);
}

void PeReader::takeSections(const std::string& table) {
    for (std::size_t place = 0; place + kSectionSize <= table.size(); place += kSectionSize) {
        const Section section{number32(table, place + 12), number32(table, place + 16),
                              number32(table, place + 20)};
        sections_.push_back(section);
        if (section.size != 0 && std::uint64_t{section.offset} + section.size > content_.size())
            damage_ = "it is cut short: its sections reach beyond its " + std::to_string(content_.size()) +
                      " bytes";
    }
}

// False if no section holds the address. Entering a section costs its bytes and the search for it, so that a
// file whose tables jump between sections ends as damaged.
bool PeReader::enter(std::uint32_t address) {
    if (current_.holds(address)) return true;
    const auto section = std::find_if(sections_.begin(), sections_.end(),
                                      [=](const Section& each) { return each.holds(address); });
    if (section == sections_.end()) return false;
    const std::uint64_t cost =
        std::min<std::uint64_t>(section->size, content_.size()) + sections_.size() * kSectionSize;
    if (cost > readingLeft_) return false;
    readingLeft_ -= cost;
    current_ = *section;
    currentBytes_ = content_.read(section->offset, section->size);
    return true;
}

// From there to the end of the section; valid until the next call.
std::string_view PeReader::at(std::uint32_t address) {
    if (!enter(address)) return {};
    const std::size_t inside = address - current_.address;
    return inside < currentBytes_.size() ? std::string_view(currentBytes_).substr(inside)
                                         : std::string_view();
}

std::optional<std::vector<std::string>> PeReader::texts(const std::vector<std::uint32_t>& addresses) {
    std::vector<std::string> texts;
    std::uint64_t textsLeft = 4 * content_.size();
    for (const std::uint32_t address : addresses) {
        const std::string_view bytes = at(address).substr(0, kLongestName);
        const auto size = bytes.find('\0');
        if (size == 0 || size == std::string_view::npos || size > textsLeft) return std::nullopt;
        textsLeft -= size;
        texts.emplace_back(bytes.substr(0, size));
    }
    return texts;
}

// A list of entries that ends with one of zeros. All addresses are collected before the names are read, which
// may be in another section.
std::optional<std::vector<std::string>> PeReader::namesIn(const Directory& directory, std::size_t entrySize,
                                                          std::size_t namePlace) {
    std::vector<std::uint32_t> names;
    if (directory.address == 0) return texts(names);
    for (std::string_view entries = at(directory.address); entries.size() >= entrySize;
         entries.remove_prefix(entrySize)) {
        const std::uint32_t name = number32(entries, namePlace);
        if (name == 0) return texts(names);
        names.push_back(name);
    }
    return std::nullopt;
}

std::optional<std::vector<std::string>> PeReader::imports() {
    return namesIn(directories_[kImports], 20, 12);
}

std::optional<std::vector<std::string>> PeReader::delayedImports() {
    return namesIn(directories_[kDelayedImports], 32, 4);
}

std::optional<std::vector<std::string>> PeReader::namesFrom(std::size_t import) {
    constexpr std::size_t kEntrySize = 20;
    constexpr std::uint64_t kByNumber = std::uint64_t{1} << 63U;
    constexpr std::size_t kHint = 2;
    const std::string_view entries = at(directories_[kImports].address);
    if (entries.size() / kEntrySize <= import) return std::nullopt;
    const std::uint32_t lookup = number32(entries, import * kEntrySize);
    const std::uint32_t bound = number32(entries, import * kEntrySize + 16);
    std::vector<std::uint32_t> names;
    std::string_view list = at(lookup != 0 ? lookup : bound);
    for (;; list.remove_prefix(sizeof(std::uint64_t))) {
        if (list.size() < sizeof(std::uint64_t)) return std::nullopt;
        const auto name = numberAt<std::uint64_t>(list, 0);
        if (name == 0) return texts(names);
        if ((name & kByNumber) == 0) names.push_back(static_cast<std::uint32_t>(name) + kHint);
    }
}

std::optional<std::vector<std::string>> PeReader::exportedNames() {
    constexpr std::size_t kTableSize = 40;
    std::vector<std::uint32_t> names;
    if (directories_[kExports].address == 0) return texts(names);
    const std::string_view table = at(directories_[kExports].address);
    if (table.size() < kTableSize) return std::nullopt;
    const std::size_t count = number32(table, 24);
    if (count == 0) return texts(names);
    const std::string_view addresses = at(number32(table, 32));
    if (addresses.size() / sizeof(std::uint32_t) < count) return std::nullopt;
    for (std::size_t i = 0; i < count; ++i) names.push_back(number32(addresses, i * sizeof(std::uint32_t)));
    return texts(names);
}

std::string PeReader::buildId() {
    constexpr std::size_t kEntrySize = 28;
    constexpr std::uint32_t kCodeView = 2;
    constexpr std::size_t kIdentifierBegin = 4;
    constexpr std::size_t kIdentifierEnd = 24;
    const Directory& directory = directories_[kDebug];
    if (directory.address == 0) return {};
    const std::string entries(
        at(directory.address).substr(0, std::min<std::size_t>(directory.size, 64 * kEntrySize)));
    for (std::size_t entry = 0; entry + kEntrySize <= entries.size(); entry += kEntrySize) {
        if (number32(entries, entry + 12) != kCodeView) continue;
        const std::string_view record = at(number32(entries, entry + 20));
        if (record.starts_with("RSDS") && record.size() >= kIdentifierEnd)
            return base::hexadecimalBytes(record.substr(kIdentifierBegin, kIdentifierEnd - kIdentifierBegin));
    }
    return {};
}

}  // namespace qvp
