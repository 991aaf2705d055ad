// Reads the table of names in a mapped module. The memory may be another process's, or damaged by what made
// this one crash: everything is copied, and no offset or count is believed.

#include "os/win32/ExportNames.h"

#include <bit>
#include <cstring>
#include <vector>

namespace os::win32 {
namespace {

constexpr DWORD kLargestTable = 64U << 20U;

bool read(HANDLE process, DWORD64 address, void* buffer, std::size_t size) {
    SIZE_T done = 0;
    return ReadProcessMemory(process, std::bit_cast<void*>(address), buffer, size, &done) && done == size;
}

/// A copy of a module's export table, addressed by offsets in the module.
class ExportTable {
public:
    ExportTable(HANDLE process, DWORD64 module) {
        IMAGE_DOS_HEADER start{};
        IMAGE_NT_HEADERS64 headers{};
        if (!read(process, module, &start, sizeof start) || start.e_magic != IMAGE_DOS_SIGNATURE) return;
        const DWORD64 place = module + static_cast<DWORD>(start.e_lfanew);
        if (!read(process, place, &headers, sizeof headers) || headers.Signature != IMAGE_NT_SIGNATURE)
            return;
        const IMAGE_DATA_DIRECTORY& entry =
            headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
        if (entry.Size > kLargestTable) return;
        begin_ = entry.VirtualAddress;
        bytes_.resize(entry.Size);
        if (!read(process, module + begin_, bytes_.data(), bytes_.size())) bytes_.clear();
    }

    // False if it is outside the table.
    template <typename Record>
    bool get(DWORD64 offset, Record& record) const {
        if (offset < begin_ || offset - begin_ > bytes_.size()) return false;
        if (bytes_.size() - (offset - begin_) < sizeof record) return false;
        std::memcpy(&record, bytes_.data() + (offset - begin_), sizeof record);
        return true;
    }

    std::string textAt(DWORD64 offset) const {
        std::string text;
        for (char character = 0; get(offset + text.size(), character) && character != '\0';)
            text += character;
        return text;
    }

    DWORD begin() const { return begin_; }

private:
    DWORD begin_ = 0;
    std::vector<char> bytes_;
};

}  // namespace

std::string exportedName(HANDLE process, DWORD64 module, DWORD function) {
    const ExportTable table(process, module);
    IMAGE_EXPORT_DIRECTORY directory{};
    if (!table.get(table.begin(), directory)) return {};
    WORD ordinal = 0;
    for (DWORD64 i = 0; i < directory.NumberOfNames; ++i) {
        DWORD place = 0;
        DWORD name = 0;
        if (!table.get(directory.AddressOfNameOrdinals + i * sizeof ordinal, ordinal)) return {};
        if (!table.get(directory.AddressOfFunctions + DWORD64{ordinal} * sizeof place, place)) return {};
        if (place != function) continue;
        return table.get(directory.AddressOfNames + i * sizeof name, name) ? table.textAt(name) : "";
    }
    return {};
}

}  // namespace os::win32
