#pragma once

#include "loader/LibrarySearch.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qvp {

/// A file and the chain of files that need it, up to the inspected one.
struct DependencyChain {
    LibraryFile file;
    std::shared_ptr<const DependencyChain> neededBy;  ///< null for the first
};

/// Searches `library.name` as this system's loader does, and fills in where it was found. Returns the file if
/// the libraries that it needs are to be searched, too.
std::optional<LibraryFile> findAsLoader(const DependencyChain& chain, NeededLibrary& library);

/// The folder of the inspected file, without a slash at the end: the product's loader also searches there.
std::string ownFolder(const DependencyChain& chain);

/// The libraries that each host of the product holds, by path; empty if a file names the library of each
/// symbol that it needs, as on Windows.
std::vector<std::string> librariesOfHost();

/// Further libraries of the system, by path, of which one may define a missing symbol.
std::vector<std::string> librariesOfSystem();

/// True if the file has the format of this system's libraries.
bool isForThisSystem(const LibraryFile& file);

/// Equal for names that mean the same library.
std::string comparedLibraryName(const std::string& name);

/// For `findAsLoader`: accepts `path` as the library if the loader would. A missing file, or one for another
/// processor or system, is skipped.
std::optional<LibraryFile> takeIfLibrary(const std::string& path, const std::string& foundBy,
                                         NeededLibrary& library);

}  // namespace qvp
