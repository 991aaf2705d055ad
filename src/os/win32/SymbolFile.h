#pragma once

#include <string>

namespace os::win32 {

/// True if the file is not a complete PDB file, as after an interrupted copy. False if there is none.
bool isDamagedSymbolFile(const std::wstring& path);

/// True for a module's PDB file next to it or in one of the folders that `searchPath` lists, separated by
/// ";".
bool hasDamagedSymbolFile(const std::wstring& module, const std::wstring& searchPath);

}  // namespace os::win32
