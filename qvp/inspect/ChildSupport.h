#pragma once

#include "inspect/Inspection.h"

#include <string>
#include <typeinfo>
#include <vector>

namespace qvp {

/// Installs a log handler that writes nothing. As with the library's own handler, an error throws and a fatal
/// message ends the process.
void silenceLog();

/// The class name as written in the source.
std::string classNameOf(const std::type_info& type);

/// "std::runtime_error: text" for the exception being handled.
std::string currentExceptionText();

/// The code that child processes run. `inspectInChild` ends before a file if an earlier one failed or left
/// anything behind in the process.
[[noreturn]] void inspectInChild(const std::vector<std::string>& files);
[[noreturn]] void tryInChild(const TrialRequest& request);

/// The request as arguments of a child, after `kTryArgument`, and back.
std::vector<std::string> argumentsOf(const TrialRequest& request);
TrialRequest requestFrom(const std::vector<std::string>& arguments);

inline constexpr const char* kInspectArgument = "--child-inspect";
inline constexpr const char* kTryArgument = "--child-try";
/// The phase after the four of `Trial`: the process ends as a host's does.
inline constexpr const char* kPhaseOfEnd = "end";

}  // namespace qvp
