#include "PluginFixture.h"

#include <regex>
#include <stdexcept>

namespace {

using support::Texts;
using PluginUnloadingTest = support::PluginTest;

TEST_F(PluginUnloadingTest, dependenciesGoWithTheirLastDependent) {
    add("base");
    add("left", {"needs base 0"});
    add("right", {"needs base 0"});
    manager->addPluginSearchDir(folder.path());
    manager->load(add("top", {"needs left 0", "needs right 0"}));
    takeCalls();

    EXPECT_TRUE(manager->unload("nobody"));
    EXPECT_FALSE(manager->unload("base"));
    EXPECT_FALSE(manager->unload("left"));
    EXPECT_EQ(takeCalls(), Texts{});
    EXPECT_TRUE(manager->unload("top"));
    EXPECT_EQ(takeCalls(), (Texts{"ask uninitialize top", "uninitialize top", "ask uninitialize left",
                                  "uninitialize left", "ask uninitialize right", "uninitialize right",
                                  "ask uninitialize base", "uninitialize base", "changed"}));
    EXPECT_EQ(loadedNames(), Texts{});
}

TEST_F(PluginUnloadingTest, aDependencyOfItsOwnDependenciesTooGoesOnce) {
    add("base");
    add("middle", {"needs base 0"});
    search();
    manager->load(add("top", {"needs middle 0", "needs base 0", "needs base 0"}));
    EXPECT_EQ(manager->getPluginForName("base")->dependentCount, 3);
    takeCalls();
    EXPECT_TRUE(manager->unload("top"));
    EXPECT_EQ(takeCalls(),
              (Texts{"ask uninitialize top", "uninitialize top", "ask uninitialize middle",
                     "uninitialize middle", "ask uninitialize base", "uninitialize base", "changed"}));
    EXPECT_EQ(loadedNames(), Texts{});
}

TEST_F(PluginUnloadingTest, aRequestedDependencyIsOnlyDemotedAtItsTurn) {
    const std::string base = add("base");
    search();
    manager->load(base);
    manager->load(add("top", {"needs base 0"}));
    takeCalls();
    EXPECT_FALSE(manager->unload("base"));
    EXPECT_FALSE(manager->getPluginForName("base")->explicitlyLoaded);
    EXPECT_TRUE(manager->unload("top"));
    EXPECT_EQ(loadedNames(), Texts{});

    manager->load(base);
    manager->load(path("top.qvp"));
    takeCalls();
    manager->unloadAll();
    EXPECT_EQ(takeCalls(), (Texts{"ask uninitialize top", "uninitialize top", "ask uninitialize base",
                                  "uninitialize base", "changed"}));
}

TEST_F(PluginUnloadingTest, vetoAndFailureKeepThePluginAsItWas) {
    manager->load(add("a"));
    manager->load(add("b", {"uninitialize false"}));
    manager->load(add("c", {"uninitialize throw"}));
    listener.vetoed = "a";
    takeCalls();
    for (const char* name : {"a", "b", "c"}) {
        EXPECT_FALSE(manager->unload(name)) << name;
        EXPECT_TRUE(manager->getPluginForName(name)->explicitlyLoaded) << name;
    }
    EXPECT_EQ(takeCalls(),
              (Texts{"ask uninitialize a", "ask uninitialize b", "uninitialize b",
                     "error b.qvp (b): Problem calling UninitializePlugin function", "ask uninitialize c",
                     "uninitialize c", "error c.qvp (c): Problem calling UninitializePlugin function"}));
    EXPECT_EQ(loadedNames(), (Texts{"a", "b", "c"}));
    listener.vetoed = "-";
    support::writeFile(path("b.txt"), "name b\n");
    support::writeFile(path("c.txt"), "name c\n");
    manager->unloadAll();
    EXPECT_EQ(loadedNames(), Texts{});
}

TEST_F(PluginUnloadingTest, aVetoedDependencyStaysUnused) {
    add("base");
    search();
    manager->load(add("top", {"needs base 0"}));
    listener.vetoed = "base";
    EXPECT_TRUE(manager->unload("top"));
    ASSERT_TRUE(manager->getPluginForName("base"));
    EXPECT_EQ(manager->getPluginForName("base")->getUseCount(), 0);
    listener.vetoed = "-";
    EXPECT_TRUE(manager->unload("base"));
}

TEST_F(PluginUnloadingTest, aPluginCannotUnloadItselfTwice) {
    manager->load(add("a", {"whenUninitialized unload a"}));
    takeCalls();
    EXPECT_TRUE(manager->unload("a"));
    EXPECT_EQ(takeCalls(), (Texts{"ask uninitialize a", "uninitialize a", "unload false a", "changed"}));
    // During initialization it is not loaded yet, so there is nothing to unload.
    manager->load(add("b", {"whenInitialized unload b"}));
    const Texts calls = takeCalls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "unload true b"), 1);
    EXPECT_TRUE(manager->getPluginForName("b"));
}

TEST_F(PluginUnloadingTest, nothingIsLoadedOntoAPluginThatGoes) {
    const std::string user = add("user", {"needs base 0"});
    search();
    manager->load(add("base", {"whenUninitialized load " + user}));
    takeCalls();
    EXPECT_TRUE(manager->unload("base"));
    EXPECT_EQ(loadedNames(), Texts{});
    const Texts calls = takeCalls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(),
                         "error user.qvp (user): The following dependency has not been initialized : base"),
              1);
}

TEST_F(PluginUnloadingTest, aLibraryIsReallyClosed) {
    const std::string a = add("a", {"counted"});
    for (int round = 0; round < 2; ++round) {
        manager->load(a);
        takeCalls();
        manager->unload("a");
        EXPECT_EQ(takeCalls()[2], "initialized 1 a");  // its variables are initialized again each time
    }
}

class ThrowingListener : public QvPluginSystem::QvPluginManagerListener {
public:
    explicit ThrowingListener(std::string name) : name_(std::move(name)) {
        QvPluginSystem::QvPluginManager::addListener(this);
    }
    ThrowingListener(const ThrowingListener&) = delete;
    ThrowingListener& operator=(const ThrowingListener&) = delete;
    ~ThrowingListener() override { QvPluginSystem::QvPluginManager::removeListener(this); }
    bool onAboutToInitialize(const QvPluginSystem::QvPluginInfo& info) override { return check(info); }
    bool onAboutToUninitialize(const QvPluginSystem::QvPluginInfo& info) override { return check(info); }

private:
    bool check(const QvPluginSystem::QvPluginInfo& info) const {
        if (info.name == name_) throw std::runtime_error("listener threw");
        return true;
    }
    std::string name_;
};

TEST_F(PluginUnloadingTest, whatAListenerThrowsLeavesTheListsWhole) {
    add("base");
    add("other");
    search();
    const std::string top = add("top", {"needs base 0", "needs other 0"});
    {
        const ThrowingListener throwing("base");
        EXPECT_THROW(manager->load(top), std::runtime_error);
        EXPECT_EQ(loadedNames(), Texts{});
    }
    manager->load(top);
    {
        const ThrowingListener throwing("base");
        EXPECT_THROW(manager->unload("top"), std::runtime_error);
        EXPECT_EQ(loadedNames(), (Texts{"base", "other"}));
        EXPECT_EQ(manager->getPluginForName("other")->dependentCount, 0);
        EXPECT_THROW(manager->unload("base"), std::runtime_error);
    }
    manager->load(top);
    EXPECT_TRUE(manager->unload("top"));
    EXPECT_EQ(loadedNames(), Texts{});
}

TEST_F(PluginUnloadingTest, whatTheLogThrowsLeavesTheListsWhole) {
    add("base");
    search();
    manager->load(add("top", {"needs base 0"}));
    Qv::LogSetRegExFilter("[");
    EXPECT_THROW(manager->unload("top"), std::regex_error);
    EXPECT_THROW(manager->load(path("top.qvp")), std::regex_error);
    Qv::LogSetRegExFilter("");
    EXPECT_EQ(loadedNames(), (Texts{"base"}));
    EXPECT_TRUE(manager->unload("base"));
}

}  // namespace
