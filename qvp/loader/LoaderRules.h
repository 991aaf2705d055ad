#pragma once

#include "loader/LibrarySearch.h"

#include <memory>
#include <optional>
#include <string>

namespace qvp {

/// A library on the way from the file that is looked at to one that it needs.
struct Needing {
    LibraryFile file;
    std::shared_ptr<const Needing> neededBy;  ///< null for the first
};

/// Fills where this system's loader finds the library called `library.name`. The result is the file, when
/// what it needs itself is to be looked for as well.
std::optional<LibraryFile> findAsLoader(const Needing& needing, NeededLibrary& library);

/// Whether the file is in the format of this system's libraries.
bool isForThisSystem(const LibraryFile& file);

/// The form in which names that mean the same library are equal.
std::string comparedLibraryName(const std::string& name);

/// For `findAsLoader`: takes `path` for the library if the loader would. A file that is missing, or for
/// another processor or system, is passed over.
std::optional<LibraryFile> takeIfLibrary(const std::string& path, const std::string& foundBy,
                                         NeededLibrary& library);

}  // namespace qvp
