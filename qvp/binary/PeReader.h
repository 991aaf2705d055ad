#pragma once

#include "binary/FileContent.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qvp {

/// The parts of a Windows library that the loader uses, by the published layout of its headers. Each access
/// is checked against the file's size.
class PeReader {
public:
    explicit PeReader(const FileContent& content);

    /// What keeps the loader from mapping it; "" when nothing does.
    std::string damage() const;

    /// Each is nothing when its table is damaged.
    std::optional<std::vector<std::string>> imports() const;
    std::optional<std::vector<std::string>> delayedImports() const;
    std::optional<std::vector<std::string>> exportedNames() const;
    /// Identifier and age of the debug information, lower-case hexadecimal; "" without any.
    std::string buildId() const;

private:
    struct Section {
        std::uint32_t address;
        std::uint32_t size;
        std::uint32_t offset;
    };
    struct Directory {
        std::uint32_t address = 0;
        std::uint32_t size = 0;
    };

    void readHeaders();
    std::optional<std::vector<std::string>> namesIn(const Directory& directory, std::size_t entrySize,
                                                    std::size_t namePlace) const;
    std::string at(std::uint32_t address, std::size_t most) const;
    std::optional<std::string> textAt(std::uint32_t address) const;

    const FileContent& content_;
    std::string damage_;
    std::uint32_t headerSize_ = 0;
    std::array<Directory, 16> directories_;
    std::vector<Section> sections_;
};

}  // namespace qvp
