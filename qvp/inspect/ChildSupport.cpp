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
    std::vector<std::string> arguments = programArguments(argc, argv);
    if (arguments.size() < 2 || (arguments[0] != kInspectArgument && arguments[0] != kTryArgument))
        return std::nullopt;
    if (!prepareAsChild()) return std::nullopt;
    if (arguments[0] == kInspectArgument) inspectInChild({arguments.begin() + 1, arguments.end()});
    tryInChild(requestFrom(arguments));
}

// The number of rounds, the number of files that are loaded first, these files, the file, the directories.
std::vector<std::string> argumentsOf(const TrialRequest& request) {
    std::vector<std::string> arguments{kTryArgument, std::to_string(request.rounds),
                                       std::to_string(request.before.size())};
    arguments.insert(arguments.end(), request.before.begin(), request.before.end());
    arguments.push_back(request.file);
    arguments.insert(arguments.end(), request.directories.begin(), request.directories.end());
    return arguments;
}

TrialRequest requestFrom(const std::vector<std::string>& arguments) {
    TrialRequest request;
    request.rounds = static_cast<unsigned>(std::stoul(arguments.at(1)));
    const auto before = arguments.begin() + 3;
    const auto file = before + static_cast<std::ptrdiff_t>(std::stoul(arguments.at(2)));
    request.before.assign(before, file);
    request.file = *file;
    request.directories.assign(file + 1, arguments.end());
    return request;
}

}  // namespace qvp
