#include <QvPlatform/core/QvCommandLine.h>

#include <QvPlatform/core/StringConversions.h>
#include <QvPlatform/diagnostics/Log.h>

#include "diagnostics/log/LogQuietly.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iostream>
#include <numeric>
#include <string_view>
#include <utility>

namespace Qv {
namespace {

constexpr const char* kNumberMissing =
    "Numerical parameter that should follow %s is missing! Defaulting to 0.\n";
constexpr const char* kRealMissing =
    "Floating point parameter that should follow %s is missing! Defaulting to 0.\n";
constexpr const char* kStringMissing =
    "String parameter that should follow %s is missing! Returning null pointer.\n";

std::string textOf(const char* argument) { return argument ? argument : ""; }
std::string textOf(const wchar_t* argument) {
    return argument ? QvPlatform::StringConversions::toNarrow(argument) : std::string();
}

template <typename Char>
std::vector<std::string> copyOf(int argc, Char** argv) {
    std::vector<std::string> texts;
    for (int i = 0; argv && i < argc; ++i) texts.push_back(textOf(argv[i]));
    return texts;
}

// The number at the start of the text, as the C library reads it, but independent of the locale; 0 if there
// is none or it is out of range.
template <typename Number>
Number numberIn(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    Number number{};
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

// A text without a number yields zero too, so zero is accepted only as "0".
template <typename Number>
bool isBad(Number number, const std::string& text) {
    return number == Number{} && text != "0";
}

// Must run before arguments are removed, because `option` may point to the text of one.
void logMissing(const char* message, const char* option) {
    detail::logQuietly([=] { LogDebug(message, option); });
}

}  // namespace

QvCommandLine::QvCommandLine(int argc, char** argv) : QvCommandLine(copyOf(argc, argv)) {}
QvCommandLine::QvCommandLine(int argc, const char** argv) : QvCommandLine(copyOf(argc, argv)) {}
QvCommandLine::QvCommandLine(int argc, wchar_t** argv) : QvCommandLine(copyOf(argc, argv)) {}
QvCommandLine::QvCommandLine(std::vector<std::string> args)
    : count_(static_cast<int>(args.size())), args_(std::move(args)) {}

const std::vector<std::string>& QvCommandLine::arguments() const noexcept { return args_; }

void QvCommandLine::eatArg(const int* positions, int n) {
    n = std::max(n, 0);
    if (count_ != 0) {
        std::vector<char> eaten(args_.size());
        for (int i = 0; i < n; ++i) {
            const auto position = static_cast<std::size_t>(positions[i]);
            if (positions[i] >= 0 && position < eaten.size()) eaten[position] = 1;
        }
        std::size_t index = 0;
        args_.erase(std::remove_if(args_.begin(), args_.end(),
                                   [&](const std::string&) { return eaten[index++] != 0; }),
                    args_.end());
    }
    count_ -= n;
}

void QvCommandLine::eatRange(int first, int n) {
    std::vector<int> positions(static_cast<std::size_t>(n));
    std::iota(positions.begin(), positions.end(), first);
    eatArg(positions.data(), n);
}

int QvCommandLine::getPos(const char* option) const {
    if (!option) return -1;
    const auto found = std::find(args_.begin(), args_.end(), option);
    return found == args_.end() ? -1 : static_cast<int>(found - args_.begin());
}

bool QvCommandLine::checkFor(const char* option, bool eat) {
    if (!option) LogError("QvCommandLine::checkFor: You must pass in a valid char*\n");
    const int position = getPos(option);
    if (position < 0) return false;
    if (eat) eatRange(position, 1);
    return true;
}

bool QvCommandLine::checkForList(const char* const* options, bool eat) {
    if (!options) {
        LogError("QvCommandLine::checkForList: You must pass in a valid char*[]\n");
        return false;
    }
    std::vector<std::string> wanted;  // copies, because an option may point to an argument that is removed
    for (; *options; ++options) wanted.emplace_back(*options);
    bool found = false;
    for (const std::string& option : wanted) found = checkFor(option.c_str(), eat) || found;
    return found;
}

template <typename Number>
int QvCommandLine::readNumbers(const char* option, Number* values, int n, bool eat,
                               const char* missingMessage) {
    const int position = getPos(option);
    if (position < 0) return 0;
    n = std::max(n, 0);
    const bool present = n < static_cast<std::int64_t>(count_) - position;
    bool good = present;
    for (int i = 0; present && i < n; ++i) {
        const std::string& text = args_[static_cast<std::size_t>(position) + static_cast<std::size_t>(i) + 1];
        values[i] = numberIn<Number>(text);
        good = good && !isBad(values[i], text);
    }
    if (!good) logMissing(missingMessage, option);
    if (!present || eat) eatRange(position, good ? 1 + n : 1);
    return good ? n : 0;
}

int QvCommandLine::getInt(const char* option, bool eat) {
    int value = 0;
    return readNumbers(option, &value, 1, eat, kNumberMissing) == 1 ? value : 0;
}

double QvCommandLine::getQvReal(const char* option, bool eat) {
    double value = 0.0;
    return readNumbers(option, &value, 1, eat, kRealMissing) == 1 ? value : 0.0;
}

int QvCommandLine::getQvRealArray(const char* option, double* values, int n, bool eat) {
    return readNumbers(option, values, n, eat, kRealMissing);
}

std::string QvCommandLine::getString(const char* option, bool eat) {
    const int position = getPos(option);
    if (position < 0) return {};
    const bool present = position < count_ - 1;
    const std::string value = present ? args_[static_cast<std::size_t>(position) + 1] : std::string();
    const bool isOption = !value.empty() && value.front() == '-';
    const bool good = present && !isOption;
    if (!good) logMissing(kStringMissing, option);
    if (isOption)
        detail::logQuietly([] { LogDebug("String parameters aren't allowed to start with `-'.\n"); });
    if (!present || eat) eatRange(position, good ? 2 : 1);
    return good ? value : std::string();
}

void QvCommandLine::addOption(const char* option, const char* description) {
    help_ += textOf(option) + ": " + textOf(description) + "\n\n";
}

void QvCommandLine::printHelp() const { std::cout << "usage: [options]" << std::endl << help_; }

}  // namespace Qv
