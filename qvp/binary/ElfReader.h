#pragma once

#include "binary/FileContent.h"

#include <gelf.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qvp {

/// The parts of a library that the loader uses: the segments and what the dynamic one points to. Each access
/// is checked against the file's size. A library without a section table is as good as any.
class ElfReader {
public:
    explicit ElfReader(const FileContent& content);

    /// What keeps the loader from mapping it; "" when nothing does.
    std::string damage() const;

    /// The dynamic section's entries; empty without one.
    const std::vector<GElf_Dyn>& dynamic() const noexcept { return dynamic_; }
    std::optional<GElf_Xword> value(GElf_Sxword tag) const;
    /// A text of the string table; nothing outside of it.
    std::optional<std::string> text(GElf_Xword offset) const;
    /// The names that other libraries can bind to; nothing when the table is damaged.
    std::optional<std::vector<std::string>> exportedNames() const;
    /// Lower-case hexadecimal; "" without one.
    std::string buildId() const;

private:
    struct End {
        void operator()(Elf* elf) const { elf_end(elf); }
    };
    struct Place {
        GElf_Off offset;
        GElf_Xword size;  ///< up to the end of the segment
    };

    void readDynamic();
    std::optional<Place> placeOf(GElf_Addr address) const;
    std::string bytesAt(GElf_Addr address, GElf_Xword most) const;
    Elf_Data* chunk(GElf_Off offset, GElf_Xword size, Elf_Type type) const;
    std::optional<std::size_t> symbolCount() const;

    const FileContent& content_;
    std::unique_ptr<Elf, End> elf_;
    std::vector<GElf_Phdr> segments_;
    std::vector<GElf_Dyn> dynamic_;
    std::string strings_;
};

}  // namespace qvp
