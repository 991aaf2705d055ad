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
constexpr std::uint64_t kMostNotes = std::uint64_t{1} << 20U;

std::uint64_t number64(const std::string& bytes, std::size_t offset) {
    return numberAt<std::uint64_t>(bytes, offset);
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
