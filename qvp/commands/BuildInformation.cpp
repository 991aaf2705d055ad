#include "commands/BuildInformation.h"

#include <QvPlatform/QvPluginSystem/QvPlugin.h>

#include "QvPluginSystem/rules/BuildInfo.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace qvp {
namespace {

namespace rules = QvPluginSystem::rules;

Document valueOf(const rules::BuildPairs& pairs, std::string_view key) {
    const std::string_view* const value = rules::findBuildValue(pairs, key);
    return value ? Document(std::string(*value)) : Document();
}

}  // namespace

std::string productBuildInformation() { return QV_PLUGIN_BUILD_INFO; }

Document compareBuildInformation(const std::string& plugin, const std::string& product) {
    const rules::BuildPairs ofPlugin = rules::readBuildPairs(plugin);
    const rules::BuildPairs ofProduct = rules::readBuildPairs(product);
    std::vector<std::string_view> keys;
    for (const auto* pairs : {&ofProduct, &ofPlugin}) {
        for (const auto& [key, ignored] : *pairs)
            if (std::find(keys.begin(), keys.end(), key) == keys.end()) keys.push_back(key);
    }
    Document rows = Document::array();
    for (const std::string_view key : keys) {
        const Document first = valueOf(ofPlugin, key);
        const Document second = valueOf(ofProduct, key);
        rows.push_back(
            {{"key", std::string(key)}, {"plugin", first}, {"product", second}, {"same", first == second}});
    }
    return rows;
}

}  // namespace qvp
