#include "QvPluginSystem/rules/PluginRules.h"

#include "base/Shortened.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace {

namespace rules = QvPluginSystem::rules;
using Qv::QvVersion;
using QvPluginSystem::QvDependency;
using QvPluginSystem::QvPluginInfo;
using rules::Unmet;
using Texts = std::vector<std::string>;

QvPluginInfo plugin(const std::string& name, const char* version, const char* compatibility) {
    QvPluginInfo info;
    info.name = name;
    info.version = QvVersion(version);
    info.compatibilityVersion = QvVersion(compatibility);
    return info;
}

TEST(Shortened, CutsNoCharacter) {
    const std::string text = "\xC3\xA9\xC3\xA8\xE2\x82\xAC";  // of 2, 2 and 3 bytes
    const std::size_t kept[] = {0, 0, 2, 2, 4, 4, 4};
    for (std::size_t most = 0; most < text.size(); ++most)
        EXPECT_EQ(base::shortened(text, most), text.substr(0, kept[most]) + "...");
    EXPECT_EQ(base::shortened(text, text.size()), text);
}

const QvPluginInfo& itself(const QvPluginInfo& info) { return info; }

TEST(PluginRules, ADependencyIsSatisfiedFromTheCompatibilityVersionToTheVersion) {
    struct Case {
        const char* name;
        const char* needed;
        bool isSatisfied;
    };
    const QvPluginInfo scene = plugin("Scene", "3.2.1.7", "2.5");
    for (const auto& [name, needed, isSatisfied] : {Case{"Scene", "3.2.1.7", true},
                                                    {"sCENE", "2.5", true},
                                                    {"Scene", "3.2.1.6", true},
                                                    {"Scene", "3.2.2", false},
                                                    {"Scene", "2.4.9", false},
                                                    {"Scen", "3.0", false},
                                                    {"Scenes", "3.0", false},
                                                    {"", "3.0", false}})
        EXPECT_EQ(rules::satisfies(scene, {name, QvVersion(needed)}), isSatisfied) << name << ' ' << needed;
    // Only ASCII letters have two cases.
    EXPECT_FALSE(rules::isSameName("\xC3\x84", "\xC3\xA4"));
    EXPECT_EQ(rules::foldedName("A[\xC3\x84Z"), "a[\xC3\x84z");
}

TEST(PluginRules, AFileIsSearchedAsNamedEverywhereBeforeTheExtensionIsTried) {
    const auto searched = [](const std::string& name, const std::string& present) {
        Texts asked;
        const auto at = [&](const std::string& path) {
            asked.push_back(path);
            return path == present ? path.c_str() : nullptr;
        };
        rules::search(
            name, 2, [&](const std::string& file) { return at(file); },
            [&](std::size_t i, const std::string& file) { return at(std::to_string(i) + "/" + file); });
        return asked;
    };
    EXPECT_EQ(searched("a", ""), (Texts{"a", "0/a", "1/a", "a.qvp", "0/a.qvp", "1/a.qvp"}));
    EXPECT_EQ(searched("a", "1/a"), (Texts{"a", "0/a", "1/a"}));
    EXPECT_EQ(searched("a", "0/a.qvp"), (Texts{"a", "0/a", "1/a", "a.qvp", "0/a.qvp"}));
    EXPECT_EQ(searched("a.qvp", ""), (Texts{"a.qvp", "0/a.qvp", "1/a.qvp"}));
    EXPECT_EQ(searched("", ""), Texts{});
}

TEST(PluginRules, OfPluginsWithOneNameTheFirstThatFitsCountsElseTheFirst) {
    const std::vector<QvPluginInfo> loaded{plugin("a", "1.0", "1.0"), plugin("A", "2.0", "1.5"),
                                           plugin("a", "2.1", "1.5")};
    const auto picked = [&](const char* needed) {
        return rules::pickForDependency(loaded, {"a", QvVersion(needed)}, itself) - loaded.begin();
    };
    EXPECT_EQ(picked("1.0"), 0);
    EXPECT_EQ(picked("1.7"), 1);
    EXPECT_EQ(picked("2.1"), 2);
    EXPECT_EQ(picked("9.0"), 0);
    const std::vector<QvPluginInfo> none;
    EXPECT_EQ(rules::pickForDependency(none, {"a", QvVersion("1.0")}, itself), none.end());
}

/// A host whose plugins are known by their names: each has a file, is loaded, or fails. The first one needs
/// one other.
struct Host {
    using Plugin = const QvPluginInfo*;
    struct Load {
        const QvDependency* dependency() const { return met ? nullptr : &needed; }
        QvDependency needed;
        Plugin file = nullptr;
        Plugin met = nullptr;
    };

    std::optional<Plugin> begin(Plugin file) const { return file->name == failing ? nullptr : file; }
    Load* innermost() { return first ? &*first : nullptr; }
    bool isLoadingName(const std::string& name) const { return name == loadingName; }
    bool isLoadingFile(Plugin file) const { return file->name == loadingFile; }
    Plugin find(const std::string& name) const { return named(files, name); }
    std::optional<Plugin> loadedFor(const QvDependency& dependency) const {
        return named(loaded, dependency.name);
    }
    bool isUnloading(Plugin plugin) const { return plugin->name == unloading; }
    static const QvPluginInfo& infoOf(Plugin plugin) { return *plugin; }
    void meet(Plugin plugin) { first->met = plugin; }
    void refuse(Unmet why) {
        reason = why;
        first.reset();
    }
    Plugin complete() {
        const Plugin met = first->met;
        first.reset();
        return met;
    }

    static Plugin named(const std::map<std::string, QvPluginInfo>& plugins, const std::string& name) {
        const auto found = plugins.find(name);
        return found == plugins.end() ? nullptr : &found->second;
    }

    std::map<std::string, QvPluginInfo> files;
    std::map<std::string, QvPluginInfo> loaded;
    std::string loadingName, loadingFile, failing, unloading;
    std::optional<Load> first;
    std::optional<Unmet> reason;
};

// An earlier reason hides a later one.
TEST(PluginRules, ADependencyIsRefusedForTheFirstReasonThatApplies) {
    Host host;
    const auto resolve = [&host](const char* name) {
        host.reason.reset();
        const QvDependency needed{name, QvVersion("1.0")};
        host.first = Host::Load{needed};
        const QvPluginInfo* const found = rules::load(host, std::optional<Host::Plugin>());
        return found ? found->path : rules::messageFor(host.reason.value(), needed);
    };
    host.files["file"] = plugin("file", "1.0", "1.0");
    host.files["file"].path = "/file";
    host.loaded["file"] = plugin("file", "9.0", "9.0");
    host.loaded["elsewhere"] = plugin("elsewhere", "1.5", "1.0");
    host.loaded["elsewhere"].path = "/elsewhere";
    host.files["old"] = plugin("old", "0.9", "0.9");

    EXPECT_EQ(resolve("file"), "/file");
    EXPECT_EQ(resolve("elsewhere"), "/elsewhere");
    EXPECT_EQ(resolve("none"), "Could not find dependent plugin none");
    const std::string incompatible = "old is not compatible. Expected version 1.0.0.0";
    EXPECT_EQ(resolve("old"), incompatible);
    const std::string uninitialized = "The following dependency has not been initialized : ";
    host.unloading = "old";
    EXPECT_EQ(resolve("old"), uninitialized + "old");
    host.failing = "file";
    EXPECT_EQ(resolve("file"), uninitialized + "file");
    const std::string cycle = "Circular dependency detected with ";
    host.loadingFile = "file";
    EXPECT_EQ(resolve("file"), cycle + "file");
    host.loadingName = "elsewhere";
    EXPECT_EQ(resolve("elsewhere"), cycle + "elsewhere");
}

// top needs left and right, both need base: base goes when the second of them has gone.
TEST(PluginRules, WhatBecomesUnusedIsUnloadedBeforeTheNextClaim) {
    std::map<std::string, Texts> claims{{"top", {"left", "right"}}, {"left", {"base"}}, {"right", {"base"}}};
    std::map<std::string, int> dependents{{"left", 1}, {"right", 1}, {"base", 2}};
    Texts order;
    struct Unloading {
        std::string* releaseOne() { return next == claims->end() ? nullptr : &*next++; }
        Texts* claims;
        Texts::iterator next = claims->begin();
    };
    std::vector<Unloading> unloading;
    const auto unload = [&](const std::string& name) {
        order.push_back(name);
        unloading.push_back({&claims[name]});
    };
    unload("top");
    rules::releaseReferences(unloading, [&](const std::string* dependency) {
        if (--dependents[*dependency] == 0) unload(*dependency);
    });
    EXPECT_EQ(order, (Texts{"top", "left", "right", "base"}));
}

}  // namespace
