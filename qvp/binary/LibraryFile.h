#pragma once

#include "binary/LibraryFormat.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qvp {

/// What a library file states about itself, for either system. Reading it runs none of its code.
struct LibraryFile {
    enum class Problem { none, missing, unreadable, notALibrary, wrongArchitecture, damaged };

    std::string path;  ///< absolute, in the universal form
    Problem problem = Problem::none;
    int errorNumber = 0;    ///< the system's error number, or 0
    std::string errorText;  ///< the system's words, or what is wrong with the content; "" without a problem
    LibraryFormat::Kind kind = LibraryFormat::Kind::other;
    std::string description;  ///< "ELF shared library, x86-64", "PE library, x86-64", "text file", ...

    std::vector<std::string> needed;         ///< the libraries that it names, in its own order
    std::vector<std::string> neededLater;    ///< PE: those that are loaded at their first call
    std::optional<std::string> rpath;        ///< ELF: DT_RPATH as written, unless there is a DT_RUNPATH
    std::optional<std::string> runpath;      ///< ELF: DT_RUNPATH as written
    std::vector<std::string> exportedNames;  ///< only with `Exports::read`
    bool isDanglingLink = false;             ///< then `problem` is `missing`
    std::string buildId;                     ///< lower-case hexadecimal; "" without one
    std::uint64_t size = 0;                  ///< bytes
    std::int64_t modified = 0;               ///< seconds since 1970
};

enum class Exports { read, skip };

/// Never throws because of what the file contains. Time and memory are proportional to the file's size.
LibraryFile readLibraryFile(const std::string& path, Exports exports);

/// The same for a content that is open; `path` and the times stay empty.
LibraryFile readLibraryContent(const FileContent& content, Exports exports);

}  // namespace qvp
