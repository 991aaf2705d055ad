#pragma once

#include <QvPlatform/QvPluginSystem/QvPluginInfo.h>

#include <algorithm>
#include <string>

namespace qvp {

inline char foldedCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

/// With ASCII letters in lower case, as the plugin manager compares the names of dependencies.
inline std::string foldedCase(std::string text) {
    for (char& c : text) c = foldedCase(c);
    return text;
}

inline bool isSameName(const std::string& one, const std::string& other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](char a, char b) { return foldedCase(a) == foldedCase(b); });
}

/// Whether the plugin manager takes the plugin for what the dependency asks for.
inline bool satisfies(const QvPluginSystem::QvPluginInfo& plugin,
                      const QvPluginSystem::QvDependency& dependency) {
    using Qv::QvVersion;
    return isSameName(plugin.name, dependency.name) &&
           QvVersion::compare(plugin.version, dependency.version) >= 0 &&
           QvVersion::compare(plugin.compatibilityVersion, dependency.version) <= 0;
}

}  // namespace qvp
