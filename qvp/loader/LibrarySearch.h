#pragma once

#include "binary/LibraryFile.h"

#include <string>
#include <vector>

namespace qvp {

/// A library that a file needs, directly or indirectly.
struct NeededLibrary {
    /// A file with the library's name that the loader cannot use.
    struct Unusable {
        std::string path;
        std::string reason;  ///< "it is a link to ..., which does not exist"
    };

    std::string name;      ///< as spelled in the file that needs it
    std::string neededBy;  ///< that file's path
    std::string path;      ///< where the system's loader finds it; "" if it is missing
    std::string
        foundBy;  ///< "run path", "LD_LIBRARY_PATH", "system folder", "own folder", "not searched", ...
    std::vector<std::string> lookedIn;                          ///< the searched folders, in order
    LibraryFile::Problem problem = LibraryFile::Problem::none;  ///< of the file that was found
    std::string problemText;
    std::vector<Unusable> passedOver;  ///< in the searched folders
    std::vector<std::string> chain;    ///< paths from the inspected file to `neededBy`
    bool isNeededLater = false;        ///< only at its first call; the file can be opened without it

    /// False also if it was not searched, because its file is for the other system.
    bool isMissing() const { return path.empty() && foundBy.empty(); }
};

/// All libraries that a file needs, each once, breadth first. They are searched as the system's loader does
/// it for a library that the tool opens.
std::vector<NeededLibrary> findNeededLibraries(const LibraryFile& file);

}  // namespace qvp
