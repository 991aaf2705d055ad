#pragma once

#include <string>
#include <vector>

/// Which shared libraries are in memory, and why. Paths are UTF-8; handles are those of `openLibrary`.
namespace os {

/// True if a library that was opened by this absolute path is in memory, even if it has been closed.
bool isLibraryMapped(const std::string& path);

/// Why such a library stays in memory after it was closed, as far as the system tells: a sentence without a
/// subject.
std::string whyLibraryStays(const std::string& path);

/// An address in an open library.
const void* addressIn(void* handle);

/// The handle of the library that contains `address`; null if none does.
void* libraryContaining(const void* address);

/// The handles of the libraries whose functions are on the calling thread's stack.
std::vector<void*> callingLibraries();

/// The numbers of the other threads that probably have functions of an open library on their stacks. They are
/// interrupted one by one. A thread that does not answer counts if its innermost frames hold an address in
/// the library while it waits, or if it does not wait for a tenth of a second.
std::vector<unsigned long> threadsIn(const void* handle);

}  // namespace os
