#pragma once

#include "loader/LibrarySearch.h"

#include <string>
#include <vector>

namespace qvp {

/// A symbol, or a version of symbols, that a file needs and that nothing defines which it is opened with.
struct MissingSymbol {
    std::string name;       ///< as in the source, with its version; "" for a version as a whole
    std::string version;    ///< "" without one
    std::string neededBy;   ///< path
    std::string library;    ///< which should define it; "" if unknown
    bool isLinked = false;  ///< the library is one that `neededBy` names; else one that happens to define it
};

/// The missing symbols of a file and of the libraries next to it, as far as the files tell. `libraries` are
/// those that the file needs, as found. Takes a while: it reads every library of the system.
std::vector<MissingSymbol> findMissingSymbols(const LibraryFile& file,
                                              const std::vector<NeededLibrary>& libraries);

}  // namespace qvp
