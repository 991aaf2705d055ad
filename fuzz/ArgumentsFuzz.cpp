#include <QvPlatform/core/QvCommandLine.h>
#include <QvPlatform/core/StringConversions.h>
#include <QvPlatform/diagnostics/Log.h>

#include "Require.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using fuzz::require;
using Texts = std::vector<std::string>;

Texts argumentsIn(std::string text) {
    Texts texts;
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        texts.push_back(text.substr(0, end));
        text.erase(0, end + 1);
    }
    return texts;
}

// The C library's numbers; unlike it, the parser knows no hexadecimal reals and no texts after "nan".
int referenceInt(const std::string& text) {
    errno = 0;
    const long value = std::strtol(text.c_str(), nullptr, 10);
    return errno != 0 || value < INT_MIN || value > INT_MAX ? 0 : static_cast<int>(value);
}
double referenceReal(const std::string& text) {
    errno = 0;
    const double value = std::strtod(text.c_str(), nullptr);
    return errno == ERANGE && (std::isinf(value) || value == 0) ? 0 : value;
}

bool isReal(const std::string& text) {
    return text.find_first_of("xX") == std::string::npos && text.find('\0') == std::string::npos;
}

bool isSame(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

void checkNumbers(const Texts& arguments) {
    std::vector<const char*> pointers;
    for (const std::string& text : arguments) pointers.push_back(text.c_str());
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const bool isFirst = std::find_if(pointers.begin(), pointers.end(), [&](const char* text) {
                                 return std::string(text) == pointers[i];
                             }) == pointers.begin() + static_cast<std::ptrdiff_t>(i);
        Qv::QvCommandLine line(static_cast<int>(pointers.size()), pointers.data());
        const std::string value = i + 1 < arguments.size() ? pointers[i + 1] : "";
        if (!isFirst) continue;
        require(line.getInt(pointers[i], false) == referenceInt(value));
        if (isReal(value)) require(isSame(line.getQvReal(pointers[i], true), referenceReal(value)));
        require(line.arguments().size() + 2 >= arguments.size());
    }
}

}  // namespace

// Stands in for the library's.
void Qv::LogDebug(const char* const, ...) {}
void Qv::LogError(const char* const, ...) {}

// One argument on each line. Each is once the option whose value follows, and then the first byte of each
// chooses what is asked for and removed.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Texts arguments = argumentsIn(std::string(data, data + size));
    checkNumbers(arguments);
    std::vector<const char*> pointers;
    for (const std::string& text : arguments) pointers.push_back(text.c_str());
    Qv::QvCommandLine line(static_cast<int>(pointers.size()), pointers.data());
    for (const char* const option : pointers) {
        const unsigned choice = static_cast<unsigned char>(*option);
        const bool eats = (choice & 1U) != 0;
        const int before = line.getPos(option);
        double values[4] = {};
        if ((choice & 2U) != 0)
            line.getQvRealArray(option, values, static_cast<int>(choice >> 2U & 3U), eats);
        else
            require(line.checkFor(option, eats) == (before >= 0));
        const std::string value = line.getString(option, eats);
        require(value.empty() || value.front() != '-');
    }
    return 0;
}
