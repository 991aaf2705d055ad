#pragma once

#include <string>
#include <typeinfo>

namespace qvp {

/// Installs a log handler that writes nothing. As with the library's own handler, an error throws and a fatal
/// message ends the process.
void silenceLog();

/// The class name as written in the source.
std::string classNameOf(const std::type_info& type);

/// "std::runtime_error: text" for the exception being handled.
std::string currentExceptionText();

}  // namespace qvp
