#pragma once

#include <string>

/// The loader of shared libraries. Paths are UTF-8.
namespace os {

/// Opens a library, its symbols bound at once and kept to itself, and returns its handle. A relative path
/// counts from the current directory. Libraries that it needs and that lie beside it are found. On failure
/// null, and the system's text in `error`.
void* openLibrary(const std::string& path, std::string& error);

/// False on failure, and the system's text in `error`, which is untouched otherwise.
bool closeLibrary(void* handle, std::string& error);

/// The address of a symbol that the library itself defines; null when it defines none.
void* findSymbol(void* handle, const char* name);

/// The text of the calling thread's last system error, the loader's included; "" when there is none.
std::string lastErrorText();

}  // namespace os
