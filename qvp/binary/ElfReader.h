#pragma once

#include "binary/FileContent.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace qvp {

/// The parts of a 64-bit little-endian ELF library that the loader uses: the segments and what the dynamic
/// one points to. The layout is that of the System V gABI, chapters "Object Files" and "Program Loading and
/// Dynamic Linking"; the hash table DT_GNU_HASH, symbol versions and build identifiers are GNU
/// extensions.
///
/// Nothing in the file is trusted: offsets, sizes and counts are checked against the bytes that were read,
/// and no memory is reserved by a number from the file alone. Each table is read once; together the names
/// take at most four times the file's size. The section table is not used: a stripped library may have none.
class ElfReader {
public:
    enum class Tag : std::uint64_t {
        end = 0,
        needed = 1,
        hash = 4,
        stringTable = 5,
        symbolTable = 6,
        stringTableSize = 10,
        rpath = 15,
        runpath = 29,
        gnuHash = 0x6FFFFEF5,
        symbolVersions = 0x6FFFFFF0,
        flags1 = 0x6FFFFFFB,
        versionsDefined = 0x6FFFFFFC,
        versionsNeeded = 0x6FFFFFFE
    };

    /// A dynamic symbol that other libraries define, or can bind to.
    struct Symbol {
        std::string name;
        std::string version;  ///< "" without one
        bool isDefined = false;
        bool isWeak = false;
    };
    /// A version of another library's symbols.
    struct Version {
        std::string name;
        std::string library;  ///< that should define it, as in DT_NEEDED; "" if this file defines it
    };

    /// The content must stay valid.
    explicit ElfReader(const FileContent& content);

    /// What prevents the loader from mapping it; "" if nothing does. The other functions require that.
    std::string damage() const;

    /// Whether it is a program in the form of a library.
    bool isProgram() const;
    bool has(Tag tag) const { return find(tag) != nullptr; }
    /// The text of the first entry with this tag, "" without one; nothing if the string table is damaged.
    std::optional<std::string> text(Tag tag) const;
    /// The texts of all entries with this tag; nothing if the string table is damaged.
    std::optional<std::vector<std::string>> texts(Tag tag) const;
    /// The names that other libraries can bind to; nothing if a table is damaged.
    std::optional<std::vector<std::string>> exportedNames() const;
    /// All exported and undefined symbols; nothing if a table is damaged.
    std::optional<std::vector<Symbol>> symbols() const;
    /// The versions that it defines and needs, as far as their tables are whole.
    std::vector<Version> versions() const;
    /// Lower-case hexadecimal; "" without one.
    std::string buildId() const;

private:
    struct Segment {
        std::uint32_t type;
        std::uint64_t offset;
        std::uint64_t address;
        std::uint64_t size;  ///< in the file
    };
    struct Entry {
        Tag tag;
        std::uint64_t value;
    };

    void readSegments();
    void readDynamic();
    const Entry* find(Tag tag) const;
    std::uint64_t valueOf(Tag tag) const;
    std::string bytesAt(std::uint64_t address, std::uint64_t most) const;
    std::optional<std::string> textAt(std::uint64_t offset, std::uint64_t& textsLeft) const;
    std::uint64_t mostTexts() const { return 4 * content_.size(); }
    std::optional<std::uint64_t> symbolCount() const;
    std::optional<std::string> symbolTable() const;
    /// Versions by the number that a symbol states.
    std::map<unsigned, Version> numberedVersions() const;
    void addDefinedVersions(std::map<unsigned, Version>& versions) const;
    void addNeededVersions(std::map<unsigned, Version>& versions) const;

    const FileContent& content_;
    bool hasHeader_ = false;
    std::vector<Segment> segments_;
    std::vector<Entry> dynamic_;
    std::string strings_;
};

}  // namespace qvp
