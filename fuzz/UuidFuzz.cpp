#include <QvPlatform/core/QvUuid.h>
#include <QvPlatform/diagnostics/Log.h>

#include "Require.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <string>

namespace {

using fuzz::require;
using QvSim::QvUuid;

int reports = 0;

// The lower-case digits with their dashes, empty when the text is no UUID.
std::string referenceText(std::string text) {
    if (text.size() > 1 && text.front() == '{' && text.back() == '}') text = text.substr(1, text.size() - 2);
    const auto isDash = [](std::size_t i) { return i == 8 || i == 13 || i == 18 || i == 23; };
    if (text.size() == 32)
        for (std::size_t i = 0; i < 36; ++i)
            if (isDash(i)) text.insert(i, "-");
    if (text.size() != 36) return "";
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (isDash(i) ? c != '-' : c > 0x7F || std::isxdigit(c) == 0) return "";
        text[i] = static_cast<char>(std::tolower(c));
    }
    return text;
}

// Random bytes seldom form a UUID; a text of these characters with the dashes at hand does.
std::string ofUuidCharacters(std::string text) {
    constexpr char kAlphabet[] = {'0', '1', '9', 'a', 'F', 'e', 'B', '7'};
    for (char& c : text)
        if (c != '-' && c != '{' && c != '}') c = kAlphabet[static_cast<unsigned char>(c) % sizeof kAlphabet];
    return text;
}

void check(const std::string& text) {
    const std::string expected = referenceText(text);
    reports = 0;
    const QvUuid uuid(text);
    const QvUuid named = QvUuid::createFromName(text);
    require(reports == (expected.empty() ? 1 : 0));
    require(expected.empty() ? uuid == QvUuid::NullUuid() : uuid.toString() == expected);
    require(expected.empty() ? named.toString()[14] == '5' : named == uuid);
    require(QvUuid(uuid.toString()) == uuid && QvUuid(named.toString()) == named);
}

}  // namespace

// Stands in for the library's.
void Qv::LogDebug(const char* const, ...) { ++reports; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    check(text);
    check(ofUuidCharacters(text));
    return 0;
}
