#pragma once

namespace qvp::templates {

/// The files of a new plugin project. "@NAME@" and "@VERSION@" are placeholders for the plugin's name and the
/// product's version.
extern const char* const kCMakeLists;
extern const char* const kPlugin;
extern const char* const kLoadTest;
extern const char* const kReadMe;

}  // namespace qvp::templates
