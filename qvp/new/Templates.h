#pragma once

namespace qvp::templates {

/// The files of a new plugin, with "@NAME@" and "@VERSION@" where its name and the product's version go.
extern const char* const kCMakeLists;
extern const char* const kPlugin;
extern const char* const kLoadTest;
extern const char* const kReadMe;

}  // namespace qvp::templates
