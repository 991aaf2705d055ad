#include "commands/BuildInformation.h"

#include <QvPlatform/QvPluginSystem/QvPlugin.h>

#include <algorithm>

namespace qvp {
namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

// Lines "key:value"; a later line overrides an earlier one.
Pairs pairsOf(const std::string& text) {
    Pairs pairs;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        const std::string line = text.substr(start, end - start);
        start = end + 1;
        const auto colon = line.find(':');
        if (colon == std::string::npos) continue;
        const std::string key = line.substr(0, colon);
        const auto value = line.find_first_not_of(" \t\r", colon + 1);
        std::erase_if(pairs, [&](const auto& pair) { return pair.first == key; });
        pairs.emplace_back(key, value == std::string::npos
                                    ? ""
                                    : line.substr(value, line.find_last_not_of('\r') + 1 - value));
    }
    return pairs;
}

Document valueOf(const Pairs& pairs, const std::string& key) {
    const auto found =
        std::find_if(pairs.begin(), pairs.end(), [&](const auto& pair) { return pair.first == key; });
    return found == pairs.end() ? Document() : Document(found->second);
}

}  // namespace

std::string productBuildInformation() { return QV_PLUGIN_BUILD_INFO; }

Document compareBuildInformation(const std::string& plugin, const std::string& product) {
    const Pairs ofPlugin = pairsOf(plugin);
    Pairs keys = pairsOf(product);
    const Pairs ofProduct = keys;
    for (const auto& pair : ofPlugin) {
        if (valueOf(keys, pair.first).is_null()) keys.push_back(pair);
    }
    Document rows = Document::array();
    for (const auto& [key, ignored] : keys) {
        const Document first = valueOf(ofPlugin, key);
        const Document second = valueOf(ofProduct, key);
        rows.push_back({{"key", key}, {"plugin", first}, {"product", second}, {"same", first == second}});
    }
    return rows;
}

}  // namespace qvp
