#pragma once

#include <elfutils/libdwfl.h>

namespace os::posix {

/// Finds the file with a module's debugging information by its build identifier, else by the link in the
/// module: a callback for `Dwfl_Callbacks::find_debuginfo`. Unlike the library's standard one it looks only
/// at this machine's files and never asks a server. Needs the open `DebugLibrary`.
int findLocalDebugFile(Dwfl_Module* module, void** userData, const char* moduleName, Dwarf_Addr base,
                       const char* file, const char* link, GElf_Word checksum, char** found);

}  // namespace os::posix
