#pragma once

#include <dlfcn.h>

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>

namespace os::posix {

/// A program or library of this process, found without a lock, because the loader's lock may be held while a
/// static initializer runs. It must stay loaded while the object is used.
class LoadedFile {
public:
    /// The file at `address`, if there is one.
    explicit LoadedFile(std::uintptr_t address);

    explicit operator bool() const { return begin() != 0; }
    bool contains(std::uintptr_t address) const { return begin() <= address && address < end(); }
    std::uintptr_t begin() const { return reinterpret_cast<std::uintptr_t>(file_.dlfo_map_start); }
    std::uintptr_t end() const { return reinterpret_cast<std::uintptr_t>(file_.dlfo_map_end); }
    std::string path() const;
    /// Different for another build of the file, even at the same address.
    std::uint64_t identity() const;
    /// The exported function or object that contains `address`; "" if none does.
    std::string_view symbolAt(std::uintptr_t address) const;

private:
    dl_find_object file_{};
};

}  // namespace os::posix
