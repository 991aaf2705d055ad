#include "inspect/ChildSupport.h"

#include "base/Demangle.h"
#include "child/Arguments.h"
#include "child/Child.h"
#include "inspect/Inspection.h"

#include <QvPlatform/diagnostics/Log.h>

#include <cxxabi.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>

namespace qvp {
namespace {

std::string formatted(const char* format, Qv::LogArgs args) {
    va_list copy;
    va_copy(copy, args);
    const int length = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (length < 0) return {};
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, args);
    text.pop_back();
    return text;
}

void takeLog(Qv::eLogLevel level, const char* const format, Qv::LogArgs args) {
    if (level == Qv::kLogLevelFatal) std::exit(1);
    if (level == Qv::kLogLevelError)
        throw std::runtime_error(format ? formatted(format, args) : std::string());
}

bool isForChild(const std::vector<std::string>& arguments) {
    return arguments.size() >= 2 && (arguments[0] == kInspectArgument || arguments[0] == kTryArgument);
}

void runChild(const std::vector<std::string>& arguments) {
    prepareAsChild();
    if (arguments[0] == kInspectArgument) inspectInChild(arguments[1]);
    tryInChild({arguments.begin() + 1, arguments.end()});
}

}  // namespace

void silenceLog() { Qv::LogSetHandler(takeLog); }

std::string classNameOf(const std::type_info& type) {
    std::string name = base::demangled(type.name());
    return name.empty() ? type.name() : name;
}

std::string currentExceptionText() {
    const std::type_info* const type = abi::__cxa_current_exception_type();
    std::string name = type ? classNameOf(*type) : "an exception of another language";
    try {
        throw;
    } catch (const std::exception& error) {
        return name + ": " + error.what();
    } catch (...) {
        return name;
    }
}

std::optional<int> runAsChild(int argc, char** argv) {
    const std::vector<std::string> arguments = programArguments(argc, argv);
    serveAsChild(arguments, runChild);
    if (isForChild(arguments)) runChild(arguments);
    return std::nullopt;
}

}  // namespace qvp
