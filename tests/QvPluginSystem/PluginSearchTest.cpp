#include "PluginFixture.h"

#include <QvPlatform/filesystem/Directory.h>

namespace {

using support::Texts;

class PluginSearchTest : public support::PluginTest {
protected:
    static Texts textsOf(const Qv::QvArray<std::string>& array) { return {array.begin(), array.end()}; }
};

TEST_F(PluginSearchTest, listsOfDirectories) {
    const std::string standard = manager->getPluginSearchDirs()[0];
    using QvPlatform::Directory;
    EXPECT_EQ(standard, Directory(Directory::kLibraryDirectory).directory("plugins").toUniversalPath());
    EXPECT_TRUE(manager->addPluginSearchDir("one"));
    EXPECT_FALSE(manager->addPluginSearchDir("one"));
    EXPECT_TRUE(manager->addPluginSearchDir("one/"));  // a different text
    EXPECT_FALSE(manager->addPluginSearchDir(standard));
    EXPECT_EQ(textsOf(manager->getPluginSearchDirs()), (Texts{standard, "one", "one/"}));
    EXPECT_EQ(textsOf(manager->getAddedPluginsSearchDirs()), (Texts{"one", "one/", standard}));
    EXPECT_FALSE(manager->removePluginSearchDir("two"));
    EXPECT_TRUE(manager->removePluginSearchDir(manager->getAddedPluginsSearchDirs()[0]));
    EXPECT_TRUE(manager->removePluginSearchDir(standard));
    EXPECT_EQ(textsOf(manager->getPluginSearchDirs()), (Texts{"one/"}));
    EXPECT_EQ(textsOf(manager->getAddedPluginsSearchDirs()), (Texts{"one/"}));
    manager->resetPluginSearchDirs();
    EXPECT_EQ(textsOf(manager->getPluginSearchDirs()), (Texts{standard}));
    EXPECT_EQ(manager->getAddedPluginsSearchDirs().size(), 0U);
}

TEST_F(PluginSearchTest, loadInfoFindsByNameAndOnlyReads) {
    const support::TemporaryFolder first;
    manager->addPluginSearchDir(first.path());
    search();
    const std::string x = add("x", {"version 4.5"});
    EXPECT_EQ(manager->loadInfo("x", "", "").path, x);
    EXPECT_EQ(manager->loadInfo("x.qvp", "", "").version.toString(), "4.5.0.0");
    EXPECT_EQ(manager->loadInfo(x, "", "").name, "x");
    EXPECT_EQ(takeCalls(),
              (Texts{"describe x", "describe x", "describe x", "describe x", "describe x", "describe x"}));
    // The name itself is searched in all directories before the name with the extension is searched in any.
    support::writeFile(first.path() + "y.qvp", "junk");
    std::filesystem::copy_file(support::pathOf(x), support::pathOf(path("y")));
    support::writeFile(path("y.txt"), "name y\n");
    EXPECT_EQ(manager->loadInfo("y", "", "").name, "y");
    EXPECT_EQ(manager->loadInfo("y.qvp", "", "").name, "");
    // Reading the descriptor of a loaded plugin does not close it.
    manager->load(x);
    takeCalls();
    EXPECT_EQ(manager->loadInfo(x, "", "").name, "x");
    EXPECT_TRUE(manager->unload("x"));
    EXPECT_EQ(takeCalls().back(), "changed");
}

TEST_F(PluginSearchTest, thePluginsOwnFieldsAreNotTheManagers) {
    const std::string file = add("claiming", {"claims"});
    manager->load(file);
    for (const QvPluginSystem::QvPluginInfo& info :
         {manager->loadInfo(file, "", ""), *manager->getPluginForName("claiming")}) {
        EXPECT_EQ(info.path, file);
        EXPECT_EQ(info.dependentCount, 0);
    }
    EXPECT_FALSE(manager->loadInfo(file, "", "").explicitlyLoaded);
}

TEST_F(PluginSearchTest, loadInfoFailures) {
    logCapture.take();
    EXPECT_EQ(manager->loadInfo("nowhere", "", "").version.toString(), "2020.3.0.68");
    EXPECT_EQ(manager->loadInfo("", "", "").name, "");
    EXPECT_EQ(logCapture.takeTexts(),
              (Texts{"QvPluginManager:loadInfo - Error cannot find plugin file: nowhere\n",
                     "QvPluginManager:loadInfo - Error cannot find plugin file: \n"}));
    EXPECT_EQ(manager->loadInfo(add("throwing", {"describe throw"}), "", "").path, "");
    const std::string rejected = add("rejected", {"build CompilerName:MSVC"});
    EXPECT_EQ(manager->loadInfo(rejected, "", "").path, "");
    EXPECT_EQ(takeCalls(), (Texts{"describe throwing", "describe rejected"}));
    // Each one was closed again, so opening it now initializes it again.
    support::writeFile(path("rejected.txt"), "name rejected\ncounted\n");
    manager->load(rejected);
    EXPECT_TRUE(manager->unload("rejected"));
}

TEST_F(PluginSearchTest, loadAllTakesThePluginsOfEveryDirectory) {
    add("a", {"needs b 0"});
    add("b");
    addCopy("scripted.qvp", "c.QVP");
    support::writeFile(path("d.qvp.bak"), "junk");
    folder.addDirectory("e.qvp");
    search();
    manager->addPluginSearchDir(path("nowhere"));
    logCapture.take();
    manager->loadAllQvp();
    Texts names = loadedNames();
    EXPECT_EQ(names, (Texts{"b", "a"}));
    EXPECT_TRUE(manager->getPluginForName("b")->explicitlyLoaded);
    const Texts calls = takeCalls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "changed"), 2);
    Texts traces;
    for (const support::LogMessage& message : logCapture.take()) {
        if (message.level == Qv::kLogLevelTrace && message.text.find("initializ") == std::string::npos &&
            message.text.find("file loaded") == std::string::npos)
            traces.push_back(message.text);
    }
    const std::string found = "QvPluginManager::findSharedLibraries(): Found candidate plugin: ";
    const std::string from = "QvPluginManager::loadFromDirs(): Loading plugin from ";
    Texts expected = {from + manager->getPluginSearchDirs()[0] + "\n", from + folder.path() + "\n",
                      found + path("a.qvp") + "\n", found + path("b.qvp") + "\n",
                      from + path("nowhere") + "\n"};
    std::sort(traces.begin(), traces.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(traces, expected);
}

}  // namespace
