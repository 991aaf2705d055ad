#include <QvPlatform/core/QvVersion.h>

#include "Require.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <tuple>

namespace {

using fuzz::require;
using Qv::QvVersion;
using Components = std::array<std::int32_t, 4>;

constexpr const char* kDigits = "0123456789";

std::int32_t valueOf(const std::string& digits) {
    std::uint64_t value = 0;
    for (const char c : digits) value = (value * 10 + static_cast<std::uint64_t>(c - '0')) % 0x100000000;
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

// Cuts the text at its dots, one component after the other.
std::optional<Components> referenceParse(std::string text) {
    Components components{};
    for (std::int32_t& component : components) {
        if (text.empty()) break;
        const auto end = std::min(text.find_first_not_of(kDigits), text.size());
        if (end == 0) return std::nullopt;
        const bool isLast = &component == &components.back();
        if (end < text.size() && text[end] != '.') return std::nullopt;
        component = valueOf(text.substr(0, end));
        if (isLast) break;
        text.erase(0, end + 1);
    }
    return components;
}

Components componentsOf(const QvVersion& version) {
    return {version.major, version.minor, version.servicePack, version.build};
}

std::string referenceText(const QvVersion& version) {
    char text[64];
    std::snprintf(text, sizeof text, "%d.%d.%d.%d", version.major, version.minor, version.servicePack,
                  version.build);
    return text;
}

void checkParse(const std::string& text) {
    const auto expected = referenceParse(text);
    QvVersion version(-1, -2, -3, -4, "label");
    const std::string before = version.toString();
    require(QvVersion::parse(text, &version) == expected.has_value());
    require(QvVersion::parse(text, nullptr) == expected.has_value());
    require(componentsOf(version) == expected.value_or(Components{-1, -2, -3, -4}));
    require(version.label == "label" && version.toString() == before);
}

QvVersion checkText(const std::string& text) {
    const QvVersion version(text);
    require(componentsOf(version) == referenceParse(text).value_or(Components{}));
    require(version.label.empty() && version.toString() == referenceText(version));
    const Components components = componentsOf(version);
    const bool isParseable = *std::min_element(components.begin(), components.end()) >= 0;
    QvVersion again;
    require(QvVersion::parse(version.toString(), &again) == isParseable);
    if (isParseable) require(componentsOf(again) == components);
    return version;
}

void checkOrder(const QvVersion& a, const QvVersion& b) {
    const auto key = [](const QvVersion& v) { return std::tuple(v.major, v.minor, v.servicePack); };
    const int expected = key(a) < key(b) ? -1 : key(b) < key(a) ? 1 : 0;
    require(QvVersion::compare(a, b) == expected && QvVersion::compare(b, a) == -expected);
}

}  // namespace

// The input is two texts with a line end between them.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(data, data + size);
    const auto middle = std::min(input.find('\n'), input.size());
    const std::string first = input.substr(0, middle);
    const std::string second = input.substr(std::min(middle + 1, input.size()));
    checkParse(first);
    checkOrder(checkText(first), checkText(second));
    return 0;
}
