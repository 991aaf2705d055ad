#include "os/posix/stack/LoadedFile.h"

#include "base/Fnv.h"
#include "base/Utf.h"
#include "os/SystemPaths.h"
#include "os/posix/stack/FileIdentity.h"

#include <link.h>

#include <algorithm>
#include <bit>

namespace os::posix {
namespace {

// Not std::bit_cast, on whose result the analyzer of Clang 14 crashes.
template <typename T>
const T* at(std::uintptr_t address) {
    return reinterpret_cast<const T*>(address);  // NOLINT(performance-no-int-to-ptr)
}

/// What the dynamic section says about exported symbols.
struct SymbolTable {
    const ElfW(Sym) * symbols = nullptr;
    const char* names = nullptr;
    std::size_t nameBytes = 0;
    std::size_t count = 0;
};

// The last symbol of the hash table ends the longest chain.
std::size_t countByHash(const std::uint32_t* table) {
    const std::uint32_t buckets = table[0];
    const std::uint32_t first = table[1];
    const std::uint32_t* const bucket = table + 4 + std::size_t{table[2]} * (sizeof(ElfW(Addr)) / 4);
    const std::uint32_t* const chain = bucket + buckets;
    if (buckets == 0) return first;
    std::uint32_t last = *std::max_element(bucket, bucket + buckets);
    if (last < first) return first;
    while ((chain[last - first] & 1U) == 0) ++last;
    return std::size_t{last} + 1;
}

SymbolTable symbolTableOf(const link_map& map) {
    SymbolTable table;
    for (const ElfW(Dyn)* item = map.l_ld; item && item->d_tag != DT_NULL; ++item) {
        // The loader relocates the addresses where it may write.
        const ElfW(Addr) value =
            item->d_un.d_ptr < map.l_addr ? map.l_addr + item->d_un.d_ptr : item->d_un.d_ptr;
        if (item->d_tag == DT_SYMTAB) table.symbols = at<ElfW(Sym)>(value);
        if (item->d_tag == DT_STRTAB) table.names = at<char>(value);
        if (item->d_tag == DT_STRSZ) table.nameBytes = item->d_un.d_val;
        if (item->d_tag == DT_GNU_HASH) table.count = countByHash(at<std::uint32_t>(value));
        if (item->d_tag == DT_HASH) table.count = at<std::uint32_t>(value)[1];
    }
    if (!table.symbols || !table.names) table.count = 0;
    return table;
}

bool covers(const ElfW(Sym) & symbol, std::uintptr_t offset) {
    if (symbol.st_shndx == SHN_UNDEF || ELF64_ST_TYPE(symbol.st_info) == STT_TLS) return false;
    return symbol.st_size == 0 ? offset == symbol.st_value : offset - symbol.st_value < symbol.st_size;
}

}  // namespace

LoadedFile::LoadedFile(std::uintptr_t address) {
    dl_find_object object{};
    if (_dl_find_object(std::bit_cast<void*>(address), &object) == 0) file_ = object;
}

// The program itself has no name in the loader's list.
std::string LoadedFile::path() const {
    const char* const name = file_.dlfo_link_map ? file_.dlfo_link_map->l_name : nullptr;
    return name && *name ? name : base::narrow(executableFile());
}

// Without a build identifier, by the table of the functions' addresses.
std::uint64_t LoadedFile::identity() const {
    std::uint64_t identity = *this ? fileIdentity(file_) : 0;
    if (identity != 0 || !*this) return identity;
    identity = begin() ^ reinterpret_cast<std::uintptr_t>(file_.dlfo_link_map);
    for (const auto& header : programHeaders(file_)) {
        if (header.p_type != PT_GNU_EH_FRAME && header.p_type != PT_NOTE) continue;
        const CodeReader bytes = bytesOf(file_, header);
        const auto* const begin = reinterpret_cast<const char*>(bytes.at());
        identity = identity * 31 + base::fnv1a({begin, static_cast<std::size_t>(bytes.end() - bytes.at())});
    }
    return identity;
}

std::string_view LoadedFile::symbolAt(std::uintptr_t address) const {
    if (!file_.dlfo_link_map) return {};
    const SymbolTable table = symbolTableOf(*file_.dlfo_link_map);
    const std::uintptr_t offset = address - file_.dlfo_link_map->l_addr;
    const ElfW(Sym)* best = nullptr;
    for (std::size_t i = 0; i < table.count; ++i) {
        const ElfW(Sym)& symbol = table.symbols[i];
        if (covers(symbol, offset) && (!best || symbol.st_value > best->st_value)) best = &symbol;
    }
    return best && best->st_name < table.nameBytes ? table.names + best->st_name : std::string_view();
}

}  // namespace os::posix
