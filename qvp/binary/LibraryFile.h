#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qvp {

/// What a library file says of itself. Reading it runs none of its code.
struct LibraryFile {
    enum class Problem { none, missing, unreadable, notALibrary, wrongArchitecture, damaged };

    std::string path;  ///< absolute, in the universal form
    Problem problem = Problem::none;
    int errorNumber = 0;  ///< the system's, where it gave one
    std::string
        errorText;  ///< the system's own words, or what is wrong with the content; "" without a problem
    std::string description;  ///< "ELF shared library, x86-64", "PE library, x86-64", "text file", ...

    std::vector<std::string> needed;         ///< the libraries that it names, in its own order
    std::vector<std::string> neededLater;    ///< Windows: those looked for when they are called first
    std::vector<std::string> searchedFirst;  ///< DT_RPATH, expanded; empty where there is a DT_RUNPATH
    std::vector<std::string> searchedAfter;  ///< DT_RUNPATH, expanded
    std::vector<std::string> exportedNames;  ///< only when asked for
    std::string buildId;                     ///< lower-case hexadecimal; "" without one
    std::uint64_t size = 0;                  ///< bytes
    std::int64_t modified = 0;               ///< seconds since 1970
};

enum class Exports { read, skip };

/// Never throws on what the file contains, however damaged.
LibraryFile readLibraryFile(const std::string& path, Exports exports);

}  // namespace qvp
