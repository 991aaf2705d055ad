#pragma once

#include "binary/LibraryFile.h"

#include <string>
#include <vector>

namespace qvp {

/// A library that a file needs, itself or through another one.
struct NeededLibrary {
    std::string name;      ///< as the file that needs it spells it
    std::string neededBy;  ///< that file's path
    std::string path;      ///< where the system's loader will find it; "" when it is missing
    std::string
        foundBy;  ///< "run path", "LD_LIBRARY_PATH", "system folder", "own folder", "not looked for", ...
    std::vector<std::string> lookedIn;  ///< the folders, in order, up to where it was found
    LibraryFile::Problem problem = LibraryFile::Problem::none;  ///< of the file that was found
    std::string problemText;
    bool isNeededLater = false;  ///< when it is called first, so that the file can be opened without it

    /// False also for one that was not looked for, because its file is for the other system.
    bool isMissing() const { return path.empty() && foundBy.empty(); }
};

/// All that a file needs, each library once, breadth first. The order of the search is that of the system's
/// loader for a library that the tool itself opens.
std::vector<NeededLibrary> findNeededLibraries(const LibraryFile& file);

}  // namespace qvp
