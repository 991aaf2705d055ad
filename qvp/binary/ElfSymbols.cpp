// The part of `ElfReader` that reads symbols and their versions.

#include "binary/ElfReader.h"
#include "binary/LibraryFormat.h"

#include <algorithm>
#include <utility>

namespace qvp {
namespace {

constexpr std::size_t kSymbolSize = 24;

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

}  // namespace

std::optional<std::uint64_t> ElfReader::symbolCount() const {
    if (const Entry* const table = find(Tag::gnuHash))
        return countByGnuHash(bytesAt(table->value, content_.size()));
    if (const Entry* const table = find(Tag::hash)) return number32(bytesAt(table->value, 8), 4);
    return 0;
}

std::optional<std::string> ElfReader::symbolTable() const {
    const auto count = symbolCount();
    if (!count) return std::nullopt;
    std::string table = bytesAt(valueOf(Tag::symbolTable), *count * kSymbolSize);
    return table.size() < *count * kSymbolSize ? std::nullopt : std::optional(std::move(table));
}

std::optional<std::vector<std::string>> ElfReader::exportedNames() const {
    const auto table = symbolTable();
    if (!table) return std::nullopt;
    std::vector<std::string> names;
    std::uint64_t textsLeft = mostTexts();
    for (std::size_t at = 0; at < table->size(); at += kSymbolSize) {
        if (!isExported(*table, at)) continue;
        auto name = textAt(number32(*table, at), textsLeft);
        if (!name) return std::nullopt;
        names.push_back(std::move(*name));
    }
    return names;
}

std::optional<std::vector<ElfReader::Symbol>> ElfReader::symbols() const {
    constexpr unsigned kVersionNumber = 0x7FFF;
    const auto read = symbolTable();
    if (!read) return std::nullopt;
    const std::string& table = *read;
    const std::string numbers = has(Tag::symbolVersions)
                                    ? bytesAt(valueOf(Tag::symbolVersions), table.size() / kSymbolSize * 2)
                                    : std::string();
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
    std::uint64_t entriesLeft = table.size() / 16;  // lists that overlap would have more
    for (std::uint64_t at = 0; at + 16 <= table.size();) {
        const auto library = textAt(number32(table, at + 4), textsLeft);
        for (std::uint64_t each = at + number32(table, at + 8); each > at && each + 16 <= table.size();) {
            const auto name = textAt(number32(table, each + 8), textsLeft);
            if (!library || !name || entriesLeft-- == 0) return;
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

}  // namespace qvp
