#pragma once

#include "os/posix/stack/CodeReader.h"

#include <dlfcn.h>
#include <link.h>

#include <cstdint>
#include <span>

/// Tells loaded files apart that are loaded at the same address one after the other. Async-signal-safe; the
/// file must stay loaded during the calls.
namespace os::posix {

/// Empty if they cannot be read or do not begin in the file's first page.
std::span<const ElfW(Phdr)> programHeaders(const dl_find_object& file);

/// The part of the segment that is in the file's mapping, because a damaged file may contain any address.
CodeReader bytesOf(const dl_find_object& file, const ElfW(Phdr) & segment);

/// Of where it is mapped and the build identifier; 0 if the file has no build identifier.
std::uint64_t fileIdentity(const dl_find_object& file);

}  // namespace os::posix
