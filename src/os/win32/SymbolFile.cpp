#include "os/win32/SymbolFile.h"

#include "os/win32/Windows.h"

#include <cstring>

namespace os::win32 {
namespace {

/// The beginning of a PDB file, which consists of blocks.
struct Superblock {
    char signature[32];
    DWORD blockSize;
    DWORD freeBlocks;
    DWORD blockCount;
};

constexpr char kSignature[] = "Microsoft C/C++ MSF 7.00\r\n\032DS\0\0";
static_assert(sizeof kSignature == sizeof Superblock::signature);

}  // namespace

bool isDamagedSymbolFile(const std::wstring& path) {
    const Handle file(CreateFileW(systemPath(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE,
                                  nullptr, OPEN_EXISTING, 0, nullptr));
    if (!file) return false;
    Superblock block{};
    DWORD done = 0;
    LARGE_INTEGER size{};
    if (!ReadFile(file.get(), &block, sizeof block, &done, nullptr) || done != sizeof block) return true;
    if (std::memcmp(block.signature, kSignature, sizeof kSignature) != 0) return true;
    return !GetFileSizeEx(file.get(), &size) || block.blockSize == 0 ||
           static_cast<DWORD64>(size.QuadPart) < DWORD64{block.blockCount} * block.blockSize;
}

bool hasDamagedSymbolFile(const std::wstring& module, const std::wstring& searchPath) {
    const std::size_t name = module.find_last_of(L"\\/") + 1;
    const std::wstring file = module.substr(name, module.find_last_of(L'.') - name) + L".pdb";
    if (isDamagedSymbolFile(module.substr(0, name) + file)) return true;
    for (std::size_t begin = 0; begin < searchPath.size();) {
        const std::size_t end = std::min(searchPath.find(L';', begin), searchPath.size());
        if (end > begin && isDamagedSymbolFile(searchPath.substr(begin, end - begin) + L'\\' + file))
            return true;
        begin = end + 1;
    }
    return false;
}

}  // namespace os::win32
