#include "binary/PeReader.h"

#include "binary/LibraryFormat.h"

#include <algorithm>
#include <cstddef>

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

std::uint32_t numberIn(const std::string& bytes, std::size_t place) {
    return numberAt<std::uint32_t>(bytes, place);
}

}  // namespace

PeReader::PeReader(const FileContent& content) : content_(content) { readHeaders(); }

void PeReader::readHeaders() {
    const std::uint32_t begin = numberIn(content_.read(kPeOffsetPlace, 4), 0);
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
    headerSize_ = numberIn(optional, 60);
    const std::size_t directoryCount = std::min<std::size_t>(numberIn(optional, 108), directories_.size());
    for (std::size_t i = 0; i < directoryCount; ++i)
        directories_[i] = {numberIn(optional, kDirectoriesPlace + 8 * i),
                           numberIn(optional, kDirectoriesPlace + 8 * i + 4)};
    for (std::size_t place = 0; place + kSectionSize <= table.size(); place += kSectionSize) {
        const Section section{numberIn(table, place + 12), numberIn(table, place + 16),
                              numberIn(table, place + 20)};
        sections_.push_back(section);
        if (section.size != 0 && std::uint64_t{section.offset} + section.size > content_.size())
            damage_ = "it is cut short: its sections reach beyond its " + std::to_string(content_.size()) +
                      " bytes";
    }
}

std::string PeReader::damage() const { return damage_; }

std::string PeReader::at(std::uint32_t address, std::size_t most) const {
    if (address < headerSize_)
        return content_.read(address, std::min<std::size_t>(most, headerSize_ - address));
    for (const Section& section : sections_) {
        if (address < section.address || address - section.address >= section.size) continue;
        const std::uint32_t inside = address - section.address;
        return content_.read(std::uint64_t{section.offset} + inside,
                             std::min<std::size_t>(most, section.size - inside));
    }
    return {};
}

std::optional<std::string> PeReader::textAt(std::uint32_t address) const {
    for (std::size_t most = 256; most <= kLongestName; most *= 8) {
        std::string bytes = at(address, most);
        const auto end = bytes.find('\0');
        if (end == 0) return std::nullopt;
        if (end != std::string::npos) return bytes.substr(0, end);
    }
    return std::nullopt;
}

// A list of entries that ends with one of zeros.
std::optional<std::vector<std::string>> PeReader::namesIn(const Directory& directory, std::size_t entrySize,
                                                          std::size_t namePlace) const {
    std::vector<std::string> names;
    for (std::uint64_t address = directory.address; directory.address != 0; address += entrySize) {
        const std::string entry =
            address > UINT32_MAX ? std::string() : at(static_cast<std::uint32_t>(address), entrySize);
        if (entry.size() < entrySize) return std::nullopt;
        const std::uint32_t name = numberIn(entry, namePlace);
        if (name == 0) return names;
        auto text = textAt(name);
        if (!text) return std::nullopt;
        names.push_back(std::move(*text));
    }
    return names;
}

std::optional<std::vector<std::string>> PeReader::imports() const {
    return namesIn(directories_[kImports], 20, 12);
}

std::optional<std::vector<std::string>> PeReader::delayedImports() const {
    return namesIn(directories_[kDelayedImports], 32, 4);
}

std::optional<std::vector<std::string>> PeReader::exportedNames() const {
    std::vector<std::string> names;
    if (directories_[kExports].address == 0) return names;
    const std::string table = at(directories_[kExports].address, 40);
    const std::size_t count = numberIn(table, 24);
    if (count == 0) return names;
    const std::string addresses = at(numberIn(table, 32), count * sizeof(std::uint32_t));
    if (addresses.size() < count * sizeof(std::uint32_t)) return std::nullopt;
    for (std::size_t i = 0; i < count; ++i) {
        auto name = textAt(numberIn(addresses, i * sizeof(std::uint32_t)));
        if (!name) return std::nullopt;
        names.push_back(std::move(*name));
    }
    return names;
}

std::string PeReader::buildId() const {
    constexpr std::size_t kEntrySize = 28;
    constexpr std::uint32_t kCodeView = 2;
    constexpr std::size_t kIdentifierBegin = 4;
    constexpr std::size_t kIdentifierEnd = 24;
    constexpr const char* kDigits = "0123456789abcdef";
    const Directory& directory = directories_[kDebug];
    const std::string entries = at(directory.address, std::min<std::size_t>(directory.size, 64 * kEntrySize));
    for (std::size_t entry = 0; entry + kEntrySize <= entries.size(); entry += kEntrySize) {
        if (numberIn(entries, entry + 12) != kCodeView) continue;
        const std::string record = at(numberIn(entries, entry + 20), kIdentifierEnd);
        if (!record.starts_with("RSDS") || record.size() < kIdentifierEnd) continue;
        std::string text;
        for (std::size_t i = kIdentifierBegin; i < kIdentifierEnd; ++i) {
            text += kDigits[static_cast<unsigned char>(record[i]) >> 4U];
            text += kDigits[static_cast<unsigned char>(record[i]) & 15U];
        }
        return text;
    }
    return {};
}

}  // namespace qvp
