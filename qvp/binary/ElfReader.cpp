#include "binary/ElfReader.h"

#include "binary/LibraryFormat.h"

#include <elf.h>

#include <algorithm>
#include <string_view>

namespace qvp {
namespace {

bool isExported(const GElf_Sym& symbol) {
    const auto binding = GELF_ST_BIND(symbol.st_info);
    const auto visibility = GELF_ST_VISIBILITY(symbol.st_other);
    return symbol.st_shndx != SHN_UNDEF &&
           (binding == STB_GLOBAL || binding == STB_WEAK || binding == STB_GNU_UNIQUE) &&
           (visibility == STV_DEFAULT || visibility == STV_PROTECTED);
}

// The table does not tell how many symbols it covers: the last one ends the last of its chains.
std::optional<std::size_t> countByGnuHash(const std::string& table) {
    constexpr std::size_t kNumber = sizeof(std::uint32_t);
    const std::size_t bucketCount = numberAt<std::uint32_t>(table, 0);
    const std::size_t firstSymbol = numberAt<std::uint32_t>(table, kNumber);
    const std::size_t buckets =
        4 * kNumber + std::size_t{numberAt<std::uint32_t>(table, 2 * kNumber)} * sizeof(GElf_Addr);
    const std::size_t chains = buckets + bucketCount * kNumber;
    if (chains > table.size()) return std::nullopt;
    std::size_t last = 0;
    for (std::size_t i = 0; i < bucketCount; ++i)
        last = std::max<std::size_t>(last, numberAt<std::uint32_t>(table, buckets + i * kNumber));
    if (last == 0) return 0;
    if (last < firstSymbol) return std::nullopt;
    for (std::size_t at = chains + (last - firstSymbol) * kNumber; at < table.size(); at += kNumber, ++last) {
        if ((numberAt<std::uint32_t>(table, at) & 1U) != 0) return last + 1;
    }
    return std::nullopt;
}

std::string hexadecimal(std::string_view bytes) {
    constexpr const char* kDigits = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        text += kDigits[static_cast<unsigned char>(byte) >> 4U];
        text += kDigits[static_cast<unsigned char>(byte) & 15U];
    }
    return text;
}

}  // namespace

ElfReader::ElfReader(const FileContent& content) : content_(content) {
    elf_version(EV_CURRENT);
    elf_.reset(elf_begin(static_cast<int>(content.handle()), ELF_C_READ, nullptr));
    std::size_t count = 0;
    if (!elf_ || elf_getphdrnum(elf_.get(), &count) != 0) return;
    GElf_Phdr segment;
    for (std::size_t i = 0; i < count && gelf_getphdr(elf_.get(), static_cast<int>(i), &segment); ++i)
        segments_.push_back(segment);
    readDynamic();
}

void ElfReader::readDynamic() {
    const auto segment = std::find_if(segments_.begin(), segments_.end(),
                                      [](const GElf_Phdr& s) { return s.p_type == PT_DYNAMIC; });
    if (segment == segments_.end()) return;
    Elf_Data* const data = chunk(segment->p_offset, segment->p_filesz, ELF_T_DYN);
    GElf_Dyn entry;
    for (int i = 0; data && gelf_getdyn(data, i, &entry) && entry.d_tag != DT_NULL; ++i)
        dynamic_.push_back(entry);
    strings_ = bytesAt(value(DT_STRTAB).value_or(0), value(DT_STRSZ).value_or(0));
}

std::string ElfReader::damage() const {
    const auto isCut = [this](const GElf_Phdr& segment) {
        return segment.p_offset > content_.size() || segment.p_filesz > content_.size() - segment.p_offset;
    };
    if (!elf_) return std::string("its header is damaged: ") + elf_errmsg(-1);
    if (segments_.empty()) return "its segments are missing";
    if (std::any_of(segments_.begin(), segments_.end(), [&](const GElf_Phdr& segment) {
            return (segment.p_type == PT_LOAD || segment.p_type == PT_DYNAMIC) && isCut(segment);
        }))
        return "it is cut short: its segments reach beyond its " + std::to_string(content_.size()) + " bytes";
    if (dynamic_.empty()) return "its dynamic section is missing";
    if (strings_.empty()) return "its string table is missing";
    return {};
}

std::optional<GElf_Xword> ElfReader::value(GElf_Sxword tag) const {
    const auto entry =
        std::find_if(dynamic_.begin(), dynamic_.end(), [=](const GElf_Dyn& e) { return e.d_tag == tag; });
    if (entry == dynamic_.end()) return std::nullopt;
    return entry->d_un.d_val;
}

std::optional<std::string> ElfReader::text(GElf_Xword offset) const {
    if (offset >= strings_.size()) return std::nullopt;
    const auto end = strings_.find('\0', offset);
    if (end == std::string::npos) return std::nullopt;
    return strings_.substr(offset, end - offset);
}

std::optional<ElfReader::Place> ElfReader::placeOf(GElf_Addr address) const {
    for (const GElf_Phdr& segment : segments_) {
        if (segment.p_type != PT_LOAD || address < segment.p_vaddr) continue;
        const GElf_Xword inside = address - segment.p_vaddr;
        if (inside < segment.p_filesz) return Place{segment.p_offset + inside, segment.p_filesz - inside};
    }
    return std::nullopt;
}

std::string ElfReader::bytesAt(GElf_Addr address, GElf_Xword most) const {
    const auto place = placeOf(address);
    return place ? content_.read(place->offset, std::min(place->size, most)) : std::string();
}

Elf_Data* ElfReader::chunk(GElf_Off offset, GElf_Xword size, Elf_Type type) const {
    if (offset > content_.size() || size > content_.size() - offset) return nullptr;
    return elf_getdata_rawchunk(elf_.get(), static_cast<std::int64_t>(offset), size, type);
}

std::optional<std::size_t> ElfReader::symbolCount() const {
    if (const auto table = value(DT_GNU_HASH)) return countByGnuHash(bytesAt(*table, content_.size()));
    if (const auto table = value(DT_HASH))
        return numberAt<std::uint32_t>(bytesAt(*table, 2 * sizeof(std::uint32_t)), sizeof(std::uint32_t));
    return 0;
}

std::optional<std::vector<std::string>> ElfReader::exportedNames() const {
    const auto count = symbolCount();
    const auto place = placeOf(value(DT_SYMTAB).value_or(0));
    if (!count || !place || *count > place->size / sizeof(Elf64_Sym)) return std::nullopt;
    std::vector<std::string> names;
    if (*count == 0) return names;
    Elf_Data* const data = chunk(place->offset, *count * sizeof(Elf64_Sym), ELF_T_SYM);
    GElf_Sym symbol;
    for (std::size_t i = 0; data && i < *count && gelf_getsym(data, static_cast<int>(i), &symbol); ++i) {
        if (!isExported(symbol)) continue;
        if (auto name = text(symbol.st_name)) names.push_back(std::move(*name));
    }
    return names;
}

std::string ElfReader::buildId() const {
    for (const GElf_Phdr& segment : segments_) {
        Elf_Data* const data =
            segment.p_type == PT_NOTE ? chunk(segment.p_offset, segment.p_filesz, ELF_T_NHDR) : nullptr;
        GElf_Nhdr note;
        std::size_t name = 0;
        std::size_t content = 0;
        for (std::size_t at = 0; data && (at = gelf_getnote(data, at, &note, &name, &content)) != 0;) {
            const std::string_view bytes(static_cast<const char*>(data->d_buf), data->d_size);
            if (note.n_type == NT_GNU_BUILD_ID &&
                bytes.substr(name, note.n_namesz) == std::string_view("GNU\0", 4))
                return hexadecimal(bytes.substr(content, note.n_descsz));
        }
    }
    return {};
}

}  // namespace qvp
