#pragma once

namespace os::posix {

/// Whether a library's file ends before the segments that its header promises. The loader would map such
/// a file and then die of a bus error. False for what is no library: the loader says so itself.
bool isTruncatedLibrary(const char* path);

}  // namespace os::posix
