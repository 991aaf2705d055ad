#pragma once

#include <string>
#include <vector>

namespace qvp {

/// The code that child processes run.
[[noreturn]] void inspectInChild(const std::string& file);
/// The arguments are `kWithDefaultDirectory` or `kWithoutDefaultDirectory`, the file, and the directories.
[[noreturn]] void tryInChild(const std::vector<std::string>& arguments);

inline constexpr const char* kInspectArgument = "--child-inspect";
inline constexpr const char* kTryArgument = "--child-try";
inline constexpr const char* kWithDefaultDirectory = "with-default";
inline constexpr const char* kWithoutDefaultDirectory = "without-default";

}  // namespace qvp
