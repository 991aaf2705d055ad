#pragma once

#include "binary/FileContent.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qvp {

/// The parts of a 64-bit Windows library that the loader uses. The layout is that of the PE format:
/// headers, section table, and the tables for exports, imports, delayed imports and debug information.
///
/// Nothing in the file is trusted: addresses, sizes and counts are checked against the bytes that were read,
/// and no memory is reserved by a number from the file alone. One section at a time is in memory; all that is
/// read takes at most 16 times the file's size, and the names of a table at most four times.
class PeReader {
public:
    /// The content must stay valid.
    explicit PeReader(const FileContent& content);

    /// What prevents the loader from mapping it; "" if nothing does. The other functions require that.
    const std::string& damage() const { return damage_; }

    /// Each is nothing if its table is damaged.
    std::optional<std::vector<std::string>> imports();
    std::optional<std::vector<std::string>> delayedImports();
    std::optional<std::vector<std::string>> exportedNames();
    /// The names that it imports from the library with this index in `imports`; those imported by number are
    /// omitted.
    std::optional<std::vector<std::string>> namesFrom(std::size_t import);
    /// Identifier and age of the debug information, lower-case hexadecimal; "" without any.
    std::string buildId();

private:
    struct Section {
        std::uint32_t address = 0;
        std::uint32_t size = 0;  ///< in the file
        std::uint32_t offset = 0;

        bool holds(std::uint32_t place) const { return place >= address && place - address < size; }
    };
    struct Directory {
        std::uint32_t address = 0;
        std::uint32_t size = 0;
    };

    void readHeaders();
    void takeSections(const std::string& table);
    bool enter(std::uint32_t address);
    std::string_view at(std::uint32_t address);
    std::optional<std::vector<std::string>> texts(const std::vector<std::uint32_t>& addresses);
    std::optional<std::vector<std::string>> namesIn(const Directory& directory, std::size_t entrySize,
                                                    std::size_t namePlace);

    const FileContent& content_;
    std::string damage_;
    std::array<Directory, 16> directories_;
    std::vector<Section> sections_;  // the first one holds the headers
    Section current_;
    std::string currentBytes_;
    std::uint64_t readingLeft_;
};

}  // namespace qvp
