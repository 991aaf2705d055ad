#include "inspect/ChildSupport.h"

#include <QvPlatform/diagnostics/Log.h>

#include <cxxabi.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
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
    struct Free {
        void operator()(char* text) const { std::free(text); }
    };
    int status = 0;
    const std::unique_ptr<char, Free> name(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status));
    return name ? name.get() : type.name();
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

}  // namespace qvp
