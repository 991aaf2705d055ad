#include "PluginFixture.h"

#include <QvPlatform/QvPluginSystem/LoadSharedLibrary.h>
#include <QvPlatform/filesystem/Environment.h>

#include "support/Platform.h"
#include "support/Rights.h"
#include "support/VariableChange.h"

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <functional>

#ifdef __ELF__
#include <elf.h>
#endif

namespace {

using support::Texts;

class PluginFailureTest : public support::PluginTest {
protected:
    /// The errors reported to listeners while the file is loaded; the log must contain the same.
    Texts failuresOf(const std::string& file) {
        takeCalls();
        logCapture.take();
        manager->load(file);
        Texts failures;
        for (const std::string& call : takeCalls()) {
            if (call.rfind("error ", 0) == 0) failures.push_back(call.substr(6));
        }
        Texts warnings;
        for (const support::LogMessage& message : logCapture.take()) {
            if (message.level == Qv::kLogLevelWarn) warnings.push_back(message.text);
        }
        EXPECT_EQ(warnings.size(), failures.size());
        for (std::size_t i = 0; i < std::min(warnings.size(), failures.size()); ++i) {
            const std::string error = failures[i].substr(failures[i].find("): ") + 3);
            EXPECT_EQ(warnings[i].rfind("QvPluginManager - Error " + error + " on file ", 0), 0U)
                << warnings[i];
        }
        return failures;
    }

    void expectFailure(const std::string& file, const std::string& failure) {
        EXPECT_EQ(failuresOf(file), Texts{failure});
        EXPECT_FALSE(manager->isLoaded(file));
    }
};

TEST_F(PluginFailureTest, missingEntryPointsAndBuildInformation) {
    const char* const table[][2] = {
        {"noInfo", "Symbol GetPluginInfo was not found in this plugin."},
        {"noInitialize", "Symbol InitializePlugin was not found in this plugin."},
        {"noUninitialize", "Symbol UninitializePlugin was not found in this plugin."},
        {"noBuildInfo", "There is no build information found for this plugin."},
        {"nullBuildInfo", "There is no build information found for this plugin."},
    };
    for (const auto& [name, reason] : table) {
        const std::string file = std::string(name) + ".qvp";
        expectFailure(support::builtLibrary(file),
                      file + " (no descriptor): Plugin file could not be loaded : " + reason);
    }
}

TEST_F(PluginFailureTest, rejectedBuild) {
    const std::string reason =
        "The plugin shown was built in debug mode while Quorex was built in debug mode";
    expectFailure(add("debug", {"displayName shown", "build CompilerName: MSVC", "build Release:0"}),
                  "debug.qvp (no descriptor): Plugin file could not be loaded : " + reason);
}

TEST_F(PluginFailureTest, differencesOfTheBuildAreOnlyNoted) {
    const std::string file =
        add("other", {"build CompilerName:MSVC", "build Release:1", "build CompilerVersion:1910"});
    logCapture.take();
    manager->load(file);
    EXPECT_TRUE(manager->isLoaded(file));
    const Texts texts = logCapture.takeTexts();
    ASSERT_GE(texts.size(), 3U);
    EXPECT_EQ(texts[1],
              "The plugin other was created with the compiler version 1910 of MS Visual C++ Compiler while "
              "Quorex was "
              "compiled with 1900.");
    EXPECT_EQ(
        texts[2],
        "The plugin other was created with the Quorex version 0.0.0 while the current version is 2020.3.0.");
}

TEST_F(PluginFailureTest, entryPointsThatFailOrThrow) {
    expectFailure(add("refusing", {"initialize false"}), "refusing.qvp (refusing): initialize said no");
    expectFailure(add("throwing", {"initialize throw"}), "throwing.qvp (throwing): initialize threw");
    expectFailure(add("throwingInt", {"initialize throwInt"}),
                  "throwingInt.qvp (throwingInt): unknown exception");
    expectFailure(add("undescribed", {"describe throw"}),
                  "undescribed.qvp (no descriptor): Plugin file could not be loaded : describe threw");
    manager->load(add("indifferent", {"describe false"}));
    EXPECT_TRUE(manager->getPluginForName("indifferent"));  // that result is ignored
}

TEST_F(PluginFailureTest, aStaticInitializerThatThrows) {
    if (support::kThreadSanitizer) GTEST_SKIP() << "the exception passes through the loader";
    const auto load = [this] {
        const std::string file = add("opening", {"open throw"});
        const std::string reason = "its static initializers threw: open threw";
        for (int i = 0; i < 2; ++i)
            expectFailure(file, "opening.qvp (no descriptor): Plugin file could not be loaded : " + reason);
        support::writeFile(path("opening.txt"), "name opening\n");
        EXPECT_EQ(manager->loadInfo(file, "", "").name, "");
        EXPECT_FALSE(QvPluginSystem::LoadSharedLibrary(file).handle);
        EXPECT_EQ(QvPluginSystem::getLastError(), reason);
        EXPECT_EQ(takeCalls(), Texts{});  // it was called only once
        EXPECT_EQ(std::uncaught_exceptions(), 0);
        manager->load(add("other"));
        EXPECT_EQ(loadedNames(), Texts{"other"});
    };
    runApart(load);
}

TEST_F(PluginFailureTest, namelessPlugin) {
    expectFailure(add("nameless", {"name "}), "nameless.qvp (): This plugin has an empty name.");
}

TEST_F(PluginFailureTest, aFileThatOthersCanChangeOnlyIfThatIsRefused) {
    const std::string file = add("open");
    support::letEveryoneWrite(file);
    manager->setRefusesUnsafeFiles(true);
    const Texts failures = failuresOf(file);
    ASSERT_EQ(failures.size(), 1U);
    EXPECT_EQ(failures[0].rfind("open.qvp (no descriptor): Plugin file could not be loaded : Other users can "
                                "change " +
                                    file + ": ",
                                0),
              0U)
        << failures[0];
    EXPECT_EQ(failures[0].find('\n'), std::string::npos);
    EXPECT_EQ(manager->loadInfo(file, "", "").name, "");
    manager->setRefusesUnsafeFiles(false);
    EXPECT_EQ(failuresOf(file), Texts());
    EXPECT_TRUE(manager->isLoaded(file));
}

TEST_F(PluginFailureTest, aMissingFileIsOnlyLogged) {
    logCapture.take();
    manager->load(path("missing.qvp"));
    EXPECT_EQ(logCapture.takeTexts(),
              (Texts{"QvPluginManager - Loading plugin file: " + path("missing.qvp") + "\n",
                     "QvPluginManager - Error cannot find plugin file: " + path("missing.qvp") + "\n"}));
    manager->load(folder.addDirectory("directory.qvp"));
    EXPECT_EQ(takeCalls(), Texts{});
}

TEST_F(PluginFailureTest, dependencies) {
    search();
    add("new", {"version 3.0", "compatibility 2.5"});
    add("misnamed", {"name another"});
    add("broken", {"initialize false"});
    expectFailure(add("a", {"needs nowhere 0"}), "a.qvp (a): Could not find dependent plugin nowhere");
    expectFailure(add("b", {"needs new 2.1"}), "b.qvp (b): new is not compatible. Expected version 2.1.0.0");
    expectFailure(add("c", {"needs misnamed 1.0"}),
                  "c.qvp (c): misnamed is not compatible. Expected version 1.0.0.0");
    EXPECT_EQ(failuresOf(add("d", {"needs broken 0", "needs nowhere 0"})),
              (Texts{"broken.qvp (broken): initialize said no",
                     "d.qvp (d): The following dependency has not been initialized : broken"}));
    // Dependencies that were loaded for a plugin that then failed stay loaded, unused, and can be unloaded.
    EXPECT_EQ(loadedNames(), (Texts{"new", "another"}));
    EXPECT_EQ(manager->getPluginForName("new")->getUseCount(), 0);
    EXPECT_TRUE(manager->unload("new"));
    EXPECT_EQ(loadedNames(), (Texts{"another"}));
}

TEST_F(PluginFailureTest, cycles) {
    search();
    const std::string one = add("one", {"needs two 0"});
    add("two", {"needs three 0"});
    add("three", {"needs ONE 0"});
    EXPECT_EQ(failuresOf(one),
              (Texts{"three.qvp (three): Circular dependency detected with ONE",
                     "two.qvp (two): The following dependency has not been initialized : three",
                     "one.qvp (one): The following dependency has not been initialized : two"}));
    expectFailure(add("self", {"needs self 0"}), "self.qvp (self): Circular dependency detected with self");
    // The file is being loaded, although no plugin with that name is.
    add("alias", {"name beta", "needs gamma 0"});
    const std::string gamma = add("gamma", {"needs alias 0"});
    EXPECT_EQ(failuresOf(gamma).front(), "alias.qvp (beta): Circular dependency detected with gamma");
    EXPECT_EQ(failuresOf(path("alias.qvp")).front(),
              "gamma.qvp (gamma): Circular dependency detected with alias");
    EXPECT_EQ(loadedNames(), Texts{});
}

#ifdef __ELF__
std::size_t endOfSegments(const std::string& file) {
    Elf64_Ehdr header;
    std::memcpy(&header, file.data(), sizeof header);
    std::size_t end = 0;
    for (std::size_t i = 0; i < header.e_phnum; ++i) {
        Elf64_Phdr segment;
        std::memcpy(&segment, file.data() + header.e_phoff + i * sizeof segment, sizeof segment);
        if (segment.p_type == PT_LOAD) end = std::max<std::size_t>(end, segment.p_offset + segment.p_filesz);
    }
    return end;
}
#endif

TEST_F(PluginFailureTest, filesThatAreNoPlugin) {
    const std::string whole = support::readFile(support::builtLibrary("scripted.qvp"));
    std::string foreign = whole;
#ifdef __ELF__
    foreign[18] = static_cast<char>(0xB7);  // the machine, in the file's header
    support::writeFile(path("cut.qvp"), whole.substr(0, endOfSegments(whole) - 1));
#else
    foreign[whole.find(std::string("PE\0\0", 4)) + 4] = static_cast<char>(0xAA);
    support::writeFile(path("cut.qvp"), whole.substr(0, whole.size() / 2));
#endif
    support::writeFile(path("junk.qvp"), "This is no library.");
    support::writeFile(path("empty.qvp"), "");
    support::writeFile(path("truncated.qvp"), whole.substr(0, 600));
    support::writeFile(path("foreign.qvp"), foreign);
    for (const char* name : {"junk.qvp", "empty.qvp", "truncated.qvp", "cut.qvp", "foreign.qvp"}) {
        const Texts failures = failuresOf(path(name));
        ASSERT_EQ(failures.size(), 1U) << name;
        const std::string start = std::string(name) + " (no descriptor): Plugin file could not be loaded : ";
        EXPECT_EQ(failures[0].rfind(start, 0), 0U) << failures[0];
        EXPECT_GT(failures[0].size(), start.size() + 5) << failures[0];  // and the system's error text
    }
}

#ifdef __ELF__
constexpr const char* kHelperName = "libpluginHelper.so";
#else
constexpr const char* kHelperName = "libpluginHelper.dll";
#endif

#ifdef __ELF__
constexpr const char* kFurtherHelperName = "libfurtherHelper.so";
#else
constexpr const char* kFurtherHelperName = "libfurtherHelper.dll";  // is next to the program
#endif

class PluginNeighbourTest : public PluginFailureTest {
protected:
    void addHelpers(const std::string& subfolder) const {
        addCopy(kHelperName, subfolder + kHelperName);
        if (!support::kWindows) addCopy(kFurtherHelperName, subfolder + kFurtherHelperName);
    }
};

TEST_F(PluginNeighbourTest, aLinkedLibraryIsFoundBesideThePlugin) {
    // The loader translates its texts if a translation is installed.
    const support::VariableChange language("LANGUAGE", "de");
    std::setlocale(LC_ALL, "C.UTF-8");
    const std::string alone = addCopy("linked.qvp", "linked.qvp");
    const Texts failures = failuresOf(alone);
    ASSERT_EQ(failures.size(), 1U);
    if (!support::kWindows) {
        EXPECT_NE(failures[0].find(kHelperName), std::string::npos) << failures[0];
    }
    addHelpers("");
    EXPECT_EQ(failuresOf(alone), Texts{});
    EXPECT_TRUE(manager->isLoaded(alone));
    EXPECT_TRUE(manager->unload("linked"));
    EXPECT_EQ(manager->getPlugins().size(), 0U);
    std::setlocale(LC_ALL, "C");
}

#ifdef __ELF__
TEST_F(PluginNeighbourTest, aLibraryWhoseInitializerThrewServesNoOtherPlugin) {
    if (support::kThreadSanitizer) GTEST_SKIP() << "the exception passes through the loader";
    addHelpers("");
    const std::string first = addCopy("linked.qvp", "first.qvp");
    const std::string second = addCopy("linked.qvp", "second.qvp");
    const auto load = [&] {
        for (const std::string& file : {first, second}) {
            const support::VariableChange change("QV_TEST_HELPER_THROWS", file == first ? "1" : "0");
            const std::string failure = failuresOf(file).at(0);
            const std::string reason = "its static initializers threw: the helper threw";
            EXPECT_NE(failure.find(reason), std::string::npos) << failure;
        }
    };
    runApart(load);
}
#else
TEST_F(PluginNeighbourTest, aLinkedLibraryIsFoundOnTheSearchPath) {
    folder.addDirectory("helpers");
    addHelpers("helpers/");
    const std::string before = QvPlatform::getEnv("Path");
    std::string helpers = path("helpers");
    std::replace(helpers.begin(), helpers.end(), '/', '\\');
    QvPlatform::putEnv("Path", before + ";" + helpers);
    EXPECT_EQ(failuresOf(addCopy("linked.qvp", "linked.qvp")), Texts{});
    EXPECT_EQ(QvPlatform::getEnv("Path"), before + ";" + helpers);
    QvPlatform::putEnv("Path", before);
}
#endif

TEST_F(PluginNeighbourTest, anEntryPointOfALinkedLibraryDoesNotCount) {
    addHelpers("");
    expectFailure(
        addCopy("borrowing.qvp", "borrowing.qvp"),
        "borrowing.qvp (no descriptor): Plugin file could not be loaded : Symbol UninitializePlugin was not "
        "found in this plugin.");
}

TEST_F(PluginFailureTest, theSearchPathVariableIsRestored) {
    const std::string before = QvPlatform::getEnv("Path");
    const std::string longText(5000, 'p');
    ASSERT_TRUE(QvPlatform::putEnv("Path", longText));
    manager->load(add("a"));
    support::writeFile(path("junk.qvp"), "junk");
    manager->load(path("junk.qvp"));
    const char* after = std::getenv("Path");
    EXPECT_TRUE(after && after == longText);
    QvPlatform::putEnv("Path", before);
}

TEST_F(PluginFailureTest, aVetoIsSilentAndLoadsNoDependency) {
    search();
    add("base");
    listener.vetoed = "top";
    Texts secondCalls;
    support::RecordingListener second(secondCalls);
    EXPECT_EQ(failuresOf(add("top", {"needs base 0"})), Texts{});
    EXPECT_EQ(secondCalls, (Texts{"ask initialize top"}));  // called although the first one refused
    EXPECT_EQ(loadedNames(), Texts{});
    // If a dependency is refused, its dependent fails and reports it.
    listener.vetoed = "base";
    expectFailure(path("top.qvp"), "top.qvp (top): The following dependency has not been initialized : base");
}

TEST_F(PluginFailureTest, aDescriptorMaySayAnything) {
    search();
    const std::string huge(3'000'000, 'x');
    manager->load(add("huge", {"name " + huge, "version 99999999999999999999.-1.x"}));
    EXPECT_EQ(loadedNames(), Texts{huge});
    takeCalls();
    manager->load(add("a", {"needs " + huge + " 1"}));
    const std::string odd("\xff\xc3\0\x1b[2J", 7);
    manager->load(add("b", {"name " + odd, "needs " + odd + "! 0"}));
    std::size_t length = 0;
    for (const std::string& call : takeCalls()) length += call.size();
    EXPECT_LT(length, 10'000U);
    EXPECT_EQ(loadedNames(), Texts{huge});

    constexpr std::size_t kMany = 30'000;
    Texts needs(kMany, "needs base 0");
    add("base");
    manager->load(add("greedy", needs));
    EXPECT_EQ(manager->getPluginForName("base")->getUseCount(), kMany);
    EXPECT_TRUE(manager->unload("greedy"));
    EXPECT_EQ(loadedNames(), Texts{huge});
}

}  // namespace
