#pragma once

#include <string>
#include <typeinfo>

namespace qvp {

/// Takes the log: an error throws and a fatal message ends the process, as by the library's own handler, but
/// nothing is written.
void silenceLog();

/// The class's name as it stands in the source.
std::string classNameOf(const std::type_info& type);

/// "std::runtime_error: text" for what is being handled.
std::string currentExceptionText();

}  // namespace qvp
