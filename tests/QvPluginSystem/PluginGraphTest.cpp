#include "PluginFixture.h"

namespace {

using support::Texts;

class PluginGraphTest : public support::PluginTest {
protected:
    QvPluginSystem::QvPluginInfo* plugin(const std::string& name) const {
        return manager->getPluginForName(name);
    }
};

TEST_F(PluginGraphTest, queueDependenciesAndDependents) {
    search();
    add("base", {"version 1.0"});
    add("left", {"needs base 1.0"});
    add("right", {"needs base 1.0"});
    manager->load(add("single"));
    manager->load(add("top", {"needs right 0", "needs left 0"}));

    EXPECT_EQ(namesOf(manager->getQueue()), (Texts{"single", "base", "right", "left", "top"}));
    EXPECT_EQ(namesOf(manager->getDependencyPlugins(plugin("left"))), (Texts{"base", "left"}));
    EXPECT_EQ(namesOf(manager->getDependencyPlugins(plugin("top"))), (Texts{"base", "right", "left", "top"}));
    EXPECT_EQ(namesOf(manager->getProvidedPlugins(plugin("base"))), (Texts{"base", "right", "left", "top"}));
    EXPECT_EQ(namesOf(manager->getProvidedPlugins(plugin("right"))), (Texts{"right", "top"}));
    EXPECT_EQ(namesOf(manager->getProvidedPlugins(plugin("single"))), (Texts{"single"}));
}

TEST_F(PluginGraphTest, foreignAndEditedDescriptors) {
    search();
    add("base");
    manager->load(add("top", {"needs base 0"}));
    QvPluginSystem::QvPluginInfo foreign;
    foreign.name = "foreign";
    foreign.addDependency({"base", Qv::QvVersion("0")});
    foreign.addDependency({"nowhere", Qv::QvVersion("0")});
    EXPECT_EQ(namesOf(manager->getDependencyPlugins(&foreign)), (Texts{"base", "foreign"}));
    EXPECT_EQ(namesOf(manager->getProvidedPlugins(&foreign)), (Texts{"foreign"}));
    EXPECT_EQ(manager->getProvidedPlugins(nullptr).size(), 0U);
    EXPECT_EQ(manager->getDependencyPlugins(nullptr).size(), 0U);
    // If a client creates a cycle of descriptors by hand, the walk still ends, and use counts still balance
    // when unloading.
    plugin("base")->addDependency({"top", Qv::QvVersion("0")});
    EXPECT_EQ(manager->getQueue().size(), 2U);
    EXPECT_EQ(manager->getProvidedPlugins(plugin("base")).size(), 1U);
    plugin("top")->dependencies.clear();
    EXPECT_TRUE(manager->unload("top"));
    EXPECT_EQ(loadedNames(), Texts{});
}

TEST_F(PluginGraphTest, aLadderOfDiamondsIsWalkedOnce) {
    search();
    constexpr int kSteps = 25;  // 2^25 paths from the top to the bottom
    add("l0");
    add("r0");
    for (int i = 1; i < kSteps; ++i) {
        const Texts needs = {"needs l" + std::to_string(i - 1) + " 0",
                             "needs r" + std::to_string(i - 1) + " 0"};
        add("l" + std::to_string(i), needs);
        add("r" + std::to_string(i), needs);
    }
    manager->load(path("l" + std::to_string(kSteps - 1) + ".qvp"));
    EXPECT_EQ(manager->getPlugins().size(), 2U * kSteps - 1);
    EXPECT_EQ(manager->getProvidedPlugins(plugin("l0")).size(), 2U * kSteps - 2);
    EXPECT_EQ(manager->getDependencyPlugins(plugin("l24")).size(), 2U * kSteps - 1);
    manager->unloadAll();
    EXPECT_EQ(loadedNames(), Texts{});
}

TEST_F(PluginGraphTest, ofTwoPluginsOfOneNameTheFirstCounts) {
    manager->load(add("first", {"name twin", "version 1"}));
    manager->load(add("second", {"name twin", "version 2"}));
    EXPECT_EQ(plugin("twin")->version.toString(), "1.0.0.0");
    EXPECT_TRUE(manager->unload("twin"));
    EXPECT_EQ(plugin("twin")->version.toString(), "2.0.0.0");
    manager->load(path("first.qvp"));
    manager->unloadAll();
    EXPECT_EQ(loadedNames(), Texts{});
}

}  // namespace
