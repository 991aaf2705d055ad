#pragma once

#include "binary/FileContent.h"
#include "binary/LibraryFile.h"
#include "binary/LibraryFormat.h"

namespace qvp {

/// The format of this system's libraries.
extern const LibraryFormat::Kind kNativeFormat;

/// Fills what a library of this system's format says of itself. On damage sets `problem` and `errorText`;
/// what was read before stays.
void readNativeLibrary(const FileContent& content, Exports exports, LibraryFile& file);

}  // namespace qvp
