#include "binary/ElfReader.h"

#include "base/Hexadecimal.h"
#include "binary/LibraryFormat.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace qvp {
namespace {

constexpr std::uint32_t kLoadSegment = 1;
constexpr std::uint32_t kDynamicSegment = 2;
constexpr std::uint32_t kNoteSegment = 4;
constexpr std::size_t kHeaderSize = 64;
constexpr std::size_t kSegmentSize = 56;
constexpr std::size_t kEntrySize = 16;
constexpr std::size_t kSymbolSize = 24;
constexpr std::uint64_t kMostNotes = std::uint64_t{1} << 20U;

std::uint32_t number32(const std::string& bytes, std::size_t offset) {
    return numberAt<std::uint32_t>(bytes, offset);
}

std::uint64_t number64(const std::string& bytes, std::size_t offset) {
    return numberAt<std::uint64_t>(bytes, offset);
}

// Defined here, of global, weak or unique binding, and neither hidden nor internal.
bool isExported(const std::string& symbols, std::size_t symbol) {
    const unsigned binding = numberAt<std::uint8_t>(symbols, symbol + 4) >> 4U;
    const unsigned visibility = numberAt<std::uint8_t>(symbols, symbol + 5) & 3U;
    const bool isDefined = numberAt<std::uint16_t>(symbols, symbol + 6) != 0;
    return isDefined && (binding == 1 || binding == 2 || binding == 10) &&
           (visibility == 0 || visibility == 3);
}

// The table does not state how many symbols it covers: the last one ends the last of its chains.
std::optional<std::uint64_t> countByGnuHash(const std::string& table) {
    constexpr std::uint64_t kNumber = 4;
    constexpr std::uint64_t kFilterWord = 8;
    const std::uint64_t bucketCount = number32(table, 0);
    const std::uint64_t firstSymbol = number32(table, kNumber);
    const std::uint64_t buckets = 4 * kNumber + number32(table, 2 * kNumber) * kFilterWord;
    const std::uint64_t chains = buckets + bucketCount * kNumber;
    if (chains > table.size()) return std::nullopt;
    std::uint64_t last = 0;
    for (std::uint64_t i = 0; i < bucketCount; ++i)
        last = std::max<std::uint64_t>(last, number32(table, buckets + i * kNumber));
    if (last == 0) return 0;
    if (last < firstSymbol) return std::nullopt;
    for (std::uint64_t at = chains + (last - firstSymbol) * kNumber; at + kNumber <= table.size();
         at += kNumber, ++last) {
        if ((number32(table, at) & 1U) != 0) return last + 1;
    }
    return std::nullopt;
}

// A note has three numbers, a name and a description, both padded to a multiple of four.
std::string buildIdIn(const std::string& notes) {
    constexpr std::uint64_t kNoteHeader = 12;
    constexpr std::uint32_t kBuildId = 3;
    const auto padded = [](std::uint64_t size) { return (size + 3) / 4 * 4; };
    for (std::uint64_t at = 0; at + kNoteHeader <= notes.size();) {
        const std::uint64_t nameSize = number32(notes, at);
        const std::uint64_t size = number32(notes, at + 4);
        const std::uint64_t name = at + kNoteHeader;
        const std::uint64_t begin = name + padded(nameSize);
        if (begin + size > notes.size()) return {};
        const std::string_view bytes(notes);
        if (number32(notes, at + 8) == kBuildId &&
            bytes.substr(name, nameSize) == std::string_view("GNU\0", 4))
            return base::hexadecimalBytes(bytes.substr(begin, size));
        at = begin + padded(size);
    }
    return {};
}

}  // namespace

ElfReader::ElfReader(const FileContent& content) : content_(content) {
    readSegments();
    readDynamic();
}

void ElfReader::readSegments() {
    const std::string header = content_.read(0, kHeaderSize);
    hasHeader_ = header.size() == kHeaderSize && numberAt<std::uint16_t>(header, 54) == kSegmentSize;
    if (!hasHeader_) return;
    const std::size_t size = numberAt<std::uint16_t>(header, 56) * kSegmentSize;
    const std::string table = content_.read(number64(header, 32), size);
    if (table.size() < size) return;
    for (std::size_t at = 0; at < size; at += kSegmentSize)
        segments_.push_back({number32(table, at), number64(table, at + 8), number64(table, at + 16),
                             number64(table, at + 32)});
}

void ElfReader::readDynamic() {
    const auto segment = std::find_if(segments_.begin(), segments_.end(),
                                      [](const Segment& s) { return s.type == kDynamicSegment; });
    if (segment == segments_.end()) return;
    const std::string table = content_.read(segment->offset, segment->size);
    for (std::size_t at = 0; at + kEntrySize <= table.size(); at += kEntrySize) {
        const Entry entry{static_cast<Tag>(number64(table, at)), number64(table, at + 8)};
        if (entry.tag == Tag::end) break;
        dynamic_.push_back(entry);
    }
    strings_ = bytesAt(valueOf(Tag::stringTable), valueOf(Tag::stringTableSize));
}

std::string ElfReader::damage() const {
    const auto isCut = [this](const Segment& segment) {
        const bool isMapped = segment.type == kLoadSegment || segment.type == kDynamicSegment;
        return isMapped &&
               (segment.offset > content_.size() || segment.size > content_.size() - segment.offset);
    };
    if (!hasHeader_) return "its header is damaged";
    if (segments_.empty()) return "its segments are missing";
    if (std::any_of(segments_.begin(), segments_.end(), isCut))
        return "it is cut short: its segments reach beyond its " + std::to_string(content_.size()) + " bytes";
    if (dynamic_.empty()) return "its dynamic section is missing";
    if (strings_.empty()) return "its string table is missing";
    return {};
}

bool ElfReader::isProgram() const {
    constexpr std::uint64_t kPositionIndependentProgram = 0x08000000;
    return (valueOf(Tag::flags1) & kPositionIndependentProgram) != 0;
}

const ElfReader::Entry* ElfReader::find(Tag tag) const {
    const auto entry =
        std::find_if(dynamic_.begin(), dynamic_.end(), [=](const Entry& e) { return e.tag == tag; });
    return entry == dynamic_.end() ? nullptr : &*entry;
}

std::uint64_t ElfReader::valueOf(Tag tag) const {
    const Entry* const entry = find(tag);
    return entry ? entry->value : 0;
}

std::string ElfReader::bytesAt(std::uint64_t address, std::uint64_t most) const {
    for (const Segment& segment : segments_) {
        if (segment.type != kLoadSegment || address < segment.address) continue;
        const std::uint64_t inside = address - segment.address;
        if (inside < segment.size)
            return content_.read(segment.offset + inside, std::min(most, segment.size - inside));
    }
    return {};
}

std::optional<std::string> ElfReader::textAt(std::uint64_t offset, std::uint64_t& textsLeft) const {
    if (offset >= strings_.size()) return std::nullopt;
    const std::string_view rest = std::string_view(strings_).substr(offset);
    const auto size = rest.find('\0');
    if (size == std::string_view::npos || size > textsLeft) return std::nullopt;
    textsLeft -= size;
    return std::string(rest.substr(0, size));
}

std::optional<std::string> ElfReader::text(Tag tag) const {
    const Entry* const entry = find(tag);
    std::uint64_t textsLeft = mostTexts();
    return entry ? textAt(entry->value, textsLeft) : std::string();
}

std::optional<std::vector<std::string>> ElfReader::texts(Tag tag) const {
    std::vector<std::string> texts;
    std::uint64_t textsLeft = mostTexts();
    for (const Entry& entry : dynamic_) {
        if (entry.tag != tag) continue;
        auto text = textAt(entry.value, textsLeft);
        if (!text) return std::nullopt;
        texts.push_back(std::move(*text));
    }
    return texts;
}

std::optional<std::uint64_t> ElfReader::symbolCount() const {
    if (const Entry* const table = find(Tag::gnuHash))
        return countByGnuHash(bytesAt(table->value, content_.size()));
    if (const Entry* const table = find(Tag::hash)) return number32(bytesAt(table->value, 8), 4);
    return 0;
}

std::optional<std::vector<std::string>> ElfReader::exportedNames() const {
    const auto count = symbolCount();
    if (!count) return std::nullopt;
    const std::string symbols = bytesAt(valueOf(Tag::symbolTable), *count * kSymbolSize);
    if (symbols.size() < *count * kSymbolSize) return std::nullopt;
    std::vector<std::string> names;
    std::uint64_t textsLeft = mostTexts();
    for (std::size_t symbol = 0; symbol < symbols.size(); symbol += kSymbolSize) {
        if (!isExported(symbols, symbol)) continue;
        auto name = textAt(number32(symbols, symbol), textsLeft);
        if (!name) return std::nullopt;
        names.push_back(std::move(*name));
    }
    return names;
}

std::optional<std::vector<ElfReader::Symbol>> ElfReader::symbols() const {
    constexpr unsigned kVersionNumber = 0x7FFF;
    const auto count = symbolCount();
    if (!count) return std::nullopt;
    const std::string table = bytesAt(valueOf(Tag::symbolTable), *count * kSymbolSize);
    if (table.size() < *count * kSymbolSize) return std::nullopt;
    const std::string numbers =
        has(Tag::symbolVersions) ? bytesAt(valueOf(Tag::symbolVersions), *count * 2) : std::string();
    const std::map<unsigned, Version> versions = numberedVersions();
    std::vector<Symbol> symbols;
    std::uint64_t textsLeft = mostTexts();
    for (std::size_t at = kSymbolSize; at < table.size(); at += kSymbolSize) {
        const unsigned binding = numberAt<std::uint8_t>(table, at + 4) >> 4U;
        const bool isDefined = isExported(table, at);
        const bool isUndefined = numberAt<std::uint16_t>(table, at + 6) == 0 && binding != 0;
        if (!isDefined && !isUndefined) continue;
        auto name = textAt(number32(table, at), textsLeft);
        if (!name) return std::nullopt;
        const unsigned number = numberAt<std::uint16_t>(numbers, at / kSymbolSize * 2) & kVersionNumber;
        const auto version = versions.find(number);
        symbols.push_back({std::move(*name), version == versions.end() ? std::string() : version->second.name,
                           isDefined, binding == 2});
    }
    return symbols;
}

std::vector<ElfReader::Version> ElfReader::versions() const {
    std::vector<Version> versions;
    for (auto& [number, version] : numberedVersions()) versions.push_back(std::move(version));
    return versions;
}

std::map<unsigned, ElfReader::Version> ElfReader::numberedVersions() const {
    std::map<unsigned, Version> versions;
    addDefinedVersions(versions);
    addNeededVersions(versions);
    return versions;
}

// Entries are linked by their distance, which only leads forward; the number 1 is the file itself.
void ElfReader::addDefinedVersions(std::map<unsigned, Version>& versions) const {
    constexpr unsigned kFile = 1;
    if (!has(Tag::versionsDefined)) return;
    const std::string table = bytesAt(valueOf(Tag::versionsDefined), content_.size());
    std::uint64_t textsLeft = mostTexts();
    for (std::uint64_t at = 0; at + 20 <= table.size();) {
        const unsigned number = numberAt<std::uint16_t>(table, at + 4);
        const auto name = textAt(number32(table, at + number32(table, at + 12)), textsLeft);
        if (name && number > kFile) versions[number] = {*name, {}};
        const std::uint64_t next = number32(table, at + 16);
        if (next == 0) return;
        at += next;
    }
}

void ElfReader::addNeededVersions(std::map<unsigned, Version>& versions) const {
    if (!has(Tag::versionsNeeded)) return;
    const std::string table = bytesAt(valueOf(Tag::versionsNeeded), content_.size());
    std::uint64_t textsLeft = mostTexts();
    for (std::uint64_t at = 0; at + 16 <= table.size();) {
        const auto library = textAt(number32(table, at + 4), textsLeft);
        for (std::uint64_t each = at + number32(table, at + 8); each > at && each + 16 <= table.size();) {
            const auto name = textAt(number32(table, each + 8), textsLeft);
            if (!library || !name) return;
            versions[numberAt<std::uint16_t>(table, each + 6)] = {*name, *library};
            const std::uint64_t next = number32(table, each + 12);
            if (next == 0) break;
            each += next;
        }
        const std::uint64_t next = number32(table, at + 12);
        if (next == 0) return;
        at += next;
    }
}

std::string ElfReader::buildId() const {
    std::uint64_t left = kMostNotes;
    for (const Segment& segment : segments_) {
        if (segment.type != kNoteSegment) continue;
        const std::string notes = content_.read(segment.offset, std::min(segment.size, left));
        left -= notes.size();
        if (std::string id = buildIdIn(notes); !id.empty()) return id;
    }
    return {};
}

}  // namespace qvp
