#include <QvPlatform/QvPluginSystem/LoadSharedLibrary.h>
#include <QvPlatform/filesystem/Filesystem.h>

#include "PluginFixture.h"
#include "support/Platform.h"

#include <thread>

namespace {

using support::Texts;
using PluginLoadingTest = support::PluginTest;

TEST_F(PluginLoadingTest, loadsADiamondDependenciesFirst) {
    add("base");
    add("left", {"needs base 0"});
    add("right", {"needs base 0"});
    const std::string top = add("top", {"needs left 0", "needs right 0"});
    search();

    EXPECT_FALSE(manager->load(top));  // no plugin has that path as its name

    const Texts expected = {"describe top",
                            "describe top",
                            "ask initialize top",
                            "describe left",
                            "describe left",
                            "ask initialize left",
                            "describe base",
                            "describe base",
                            "ask initialize base",
                            "initialize base",
                            "initialize left",
                            "describe right",
                            "describe right",
                            "ask initialize right",
                            "initialize right",
                            "initialize top",
                            "changed"};
    EXPECT_EQ(takeCalls(), expected);
    EXPECT_EQ(loadedNames(), (Texts{"base", "left", "right", "top"}));
    EXPECT_EQ(manager->getPluginForName("base")->dependentCount, 2);
    EXPECT_EQ(manager->getPluginForName("base")->getUseCount(), 2);
    EXPECT_EQ(manager->getPluginForName("top")->getUseCount(), 1);
    EXPECT_TRUE(manager->isLoaded(top));
    EXPECT_EQ(manager->getPluginForPath(top)->path, top);
}

TEST_F(PluginLoadingTest, aSecondRequestOnlyMakesItExplicit) {
    const std::string base = add("base");
    const std::string top = add("top", {"needs base 0"});
    search();
    manager->load(top);
    takeCalls();

    manager->load(top);
    EXPECT_FALSE(manager->getPluginForName("base")->explicitlyLoaded);
    manager->load(base);
    EXPECT_TRUE(manager->getPluginForName("base")->explicitlyLoaded);
    EXPECT_EQ(takeCalls(), (Texts{"changed", "changed"}));
    EXPECT_EQ(loadedNames().size(), 2U);
}

TEST_F(PluginLoadingTest, aListIsOneChange) {
    const Qv::QvArray<std::string> paths{add("a"), path("missing.qvp"), add("b")};
    manager->load(paths);
    EXPECT_EQ(takeCalls().back(), "changed");
    EXPECT_EQ(loadedNames(), (Texts{"a", "b"}));
    manager->load(Qv::QvArray<std::string>{path("missing.qvp")});
    EXPECT_EQ(takeCalls(), Texts{});
}

TEST_F(PluginLoadingTest, logsEachStep) {
    const std::string a = add("a");
    logCapture.takeTexts();
    manager->load(a);
    manager->unload("a");
    EXPECT_EQ(logCapture.takeTexts(), (Texts{"QvPluginManager - Loading plugin file: " + a + "\n",
                                             "QvPluginManager::initializePlugin - a\n",
                                             "QvPluginManager - Plugin file loaded : " + a + "\n",
                                             "QvPluginManager - Unloading plugin file: " + a + "\n"}));
}

TEST_F(PluginLoadingTest, dependencyNamesIgnoreCaseAndVersionsHaveARange) {
    add("needed", {"version 2.3.0.1", "compatibility 2.0"});
    search();
    for (const char* version : {"2.0", "2.1", "2.3.0.9"}) {
        SCOPED_TRACE(version);
        manager->load(add(std::string("fits") + version, {std::string("needs needed ") + version}));
    }
    EXPECT_EQ(manager->getPluginForName("needed")->dependentCount, 3);
    manager->load(add("tooOld", {"needs needed 1.9"}));
    manager->load(add("tooNew", {"needs needed 2.3.1"}));
    EXPECT_EQ(manager->getPluginForName("needed")->dependentCount, 3);
    // The file system may find the file for a different spelling; the plugin's name still matches.
    manager->load(add("spelled", {"needs Needed 2.1"}));
    add("Odd", {"name oDD"});
    manager->load(add("oddUser", {"needs Odd 0"}));
    EXPECT_TRUE(manager->getPluginForName("oddUser"));
    EXPECT_EQ(manager->getPluginForName("oDD")->dependentCount, 1);
}

TEST_F(PluginLoadingTest, aPluginLoadedFromElsewhereFulfilsADependency) {
    const support::TemporaryFolder elsewhere;
    manager->load(add("base"));
    support::writeFile(elsewhere.path() + "user.txt", "name user\nneeds base 0\n");
    std::filesystem::copy_file(support::pathOf(support::builtLibrary("scripted.qvp")),
                               support::pathOf(elsewhere.path() + "user.qvp"));
    manager->load(elsewhere.path() + "user.qvp");
    EXPECT_EQ(loadedNames(), (Texts{"base", "user"}));
}

TEST_F(PluginLoadingTest, aRelativePathMeansTheFileOfTheCurrentDirectory) {
    for (const char* name : {"first", "second"}) {
        const std::string subfolder = folder.addDirectory(name);
        support::writeFile(subfolder + "same.txt", std::string("name ") + name + "\n");
        std::filesystem::copy_file(support::pathOf(support::builtLibrary("scripted.qvp")),
                                   support::pathOf(subfolder + "same.qvp"));
        const support::CurrentDirectoryChange change(subfolder);
        EXPECT_EQ(manager->loadInfo("same.qvp", "", "").name, name);
        manager->load("same.qvp");
        EXPECT_TRUE(manager->isLoaded("same.qvp"));
    }
    EXPECT_EQ(loadedNames(), (Texts{"first", "second"}));
    EXPECT_TRUE(manager->isLoaded(path("first/same.qvp")));
    manager->load(path("second/same.qvp"));  // is loaded, even under a different name then
    manager->unloadAll();
    const Texts calls = takeCalls();
    for (const char* call :
         {"initialize first", "initialize second", "uninitialize first", "uninitialize second"})
        EXPECT_EQ(std::count(calls.begin(), calls.end(), call), 1) << call;
}

TEST_F(PluginLoadingTest, aRequestNamesAPathWhateverADependencyIsCalled) {
    add("base");
    const std::string top = add("top", {"needs base 0"});
    search();
    manager->load(Qv::QvArray<std::string>{top, "base"});
    EXPECT_FALSE(manager->getPluginForName("base")->explicitlyLoaded);
    manager->load(Qv::QvArray<std::string>{top, path("base.qvp")});
    EXPECT_TRUE(manager->getPluginForName("base")->explicitlyLoaded);
}

TEST_F(PluginLoadingTest, aPluginMayLoadAnotherButNotItself) {
    const std::string other = add("other");
    manager->load(add("outer", {"whenInitialized load " + other}));
    EXPECT_EQ(loadedNames(), (Texts{"other", "outer"}));
    takeCalls();
    const std::string selfish = path("selfish.qvp");
    add("selfish", {"whenInitialized load " + selfish});
    manager->load(selfish);
    const Texts calls = takeCalls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "initialize selfish"), 1);
    EXPECT_EQ(std::count(calls.begin(), calls.end(),
                         "error selfish.qvp (no descriptor): Circular dependency detected with " + selfish),
              1);
    EXPECT_TRUE(manager->isLoaded(selfish));
}

TEST_F(PluginLoadingTest, aDependencyCannotBeUnloadedUnderThePluginThatStarts) {
    add("base");
    manager->addPluginSearchDir(folder.path());
    manager->load(add("top", {"needs base 0", "whenInitialized unload base"}));
    EXPECT_EQ(loadedNames(), (Texts{"base", "top"}));
    const Texts calls = takeCalls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "unload false top"), 1);
    EXPECT_EQ(manager->getPluginForName("base")->getUseCount(), 1);
}

// Creating, copying, loading and removing.
TEST_F(PluginLoadingTest, pathsMayBeLongerThan260Characters) {
    namespace Filesystem = QvPlatform::Filesystem;
    const std::string first = folder.path() + std::string(100, 'a') + "/";
    const QvPlatform::Directory deep(first + std::string(100, 'b') + "/" + std::string(100, 'c') + "/");
    ASSERT_TRUE(Filesystem::create(deep));
    support::writeFile(path("far.txt"), "name far\n");
    const QvPlatform::File plugin(deep.toUniversalPath() + "far.qvp");
    ASSERT_TRUE(Filesystem::copy(QvPlatform::File(support::builtLibrary("scripted.qvp")), plugin, false));
    ASSERT_TRUE(Filesystem::copy(QvPlatform::File(path("far.txt")), deep, false));
    EXPECT_TRUE(QvPluginSystem::LoadSharedLibrary(plugin.toUniversalPath()).handle);
    manager->load(plugin.toUniversalPath());
    // The C runtime of Windows, by which this plugin reads its name, does not reach so far.
    EXPECT_EQ(loadedNames(), support::kWindows ? Texts{} : Texts{"far"});
    manager->unloadAll();

    const QvPlatform::Directory copied(path("copy/"));
    EXPECT_TRUE(Filesystem::copy(QvPlatform::Directory(first), copied, false));
    EXPECT_EQ(Filesystem::glob(copied, "far.*", true).size(), 2U);
    EXPECT_TRUE(Filesystem::remove(copied) && Filesystem::remove(QvPlatform::Directory(first)));
    EXPECT_FALSE(plugin.exists());
}

#ifdef __ELF__
TEST_F(PluginLoadingTest, theFileSystemTellsFilesApart) {
    const std::string lower = add("case");
    const std::string upper = add("CASE", {"name upper"});
    std::filesystem::create_symlink(support::pathOf(lower), support::pathOf(path("link.qvp")));
    manager->load(lower);
    EXPECT_TRUE(manager->isLoaded(path("link.qvp")));
    EXPECT_TRUE(manager->isLoaded(folder.path() + "sub/../case.qvp"));
    EXPECT_FALSE(manager->isLoaded(upper));
    manager->load(upper);
    EXPECT_EQ(loadedNames(), (Texts{"case", "upper"}));
}

TEST_F(PluginLoadingTest, whatAThreadThatEndsInAPluginLeavesBehind) {
    const std::string ending = add("ending", {"initialize endThread"});
    const std::string staying = add("staying", {"uninitialize endThread"});
    manager->load(staying);
    for (int i = 0; i < 2; ++i) std::thread([&] { manager->load(ending); }).join();
    std::thread([&] { manager->unload("staying"); }).join();
    EXPECT_EQ(loadedNames(), Texts{"staying"});
    EXPECT_TRUE(manager->getPluginForName("staying")->explicitlyLoaded);
    support::writeFile(path("ending.txt"), "name ending\n");
    support::writeFile(path("staying.txt"), "name staying\n");
    manager->load(ending);
    EXPECT_EQ(loadedNames(), (Texts{"staying", "ending"}));
    manager->unloadAll();
    EXPECT_EQ(loadedNames(), Texts{});
}
#else
TEST_F(PluginLoadingTest, letterCaseDoesNotTellFilesApart) {
    manager->load(add("case"));
    EXPECT_TRUE(manager->isLoaded(path("CASE.QVP")));
}
#endif

}  // namespace
