#pragma once

namespace qvp::templates {

/// The folder of the CMake package below the prefix where it is installed.
extern const char* const kPackageFolder;

/// The files of a new plugin project. The placeholders: "@NAME@" is the plugin's name, "@VERSION@" the
/// product's version, "@PREFIX_OPTION@" what CMake must be told to find the package, with a blank before it,
/// or nothing, and "@QVP@" this program.
extern const char* const kCMakeLists;
extern const char* const kPlugin;
extern const char* const kLoadTest;
extern const char* const kLiveHost;
extern const char* const kReadMe;

}  // namespace qvp::templates
