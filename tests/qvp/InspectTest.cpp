#include "commands/BuildInformation.h"
#include "inspect/Inspection.h"

#include "LibraryImages.h"
#include "Specimens.h"
#include "support/Platform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using namespace std::chrono_literals;
using qvp::Inspection;
using qvp::StepState;
using support::kWindows;

namespace {

using Texts = std::vector<std::string>;

std::vector<Inspection> inspectAll(const Texts& files, std::chrono::milliseconds time = 40s,
                                   qvp::Depth depth = qvp::Depth::everything) {
    std::vector<Inspection> inspections(files.size());
    std::vector<int> calls(files.size());
    qvp::inspect(files, depth, {time, 0}, [&](std::size_t place, Inspection inspection) {
        inspections.at(place) = std::move(inspection);
        ++calls.at(place);
    });
    EXPECT_EQ(calls, std::vector<int>(files.size(), 1));
    return inspections;
}

// The step that failed and its text; "" if all are OK. Expects the steps before it to be OK and those after
// it to be not reached.
std::string failure(const Inspection& inspection) {
    static const Texts kNames{"found",  "readable",    "architecture",     "libraries",
                              "opened", "entryPoints", "buildInformation", "descriptor"};
    std::string text;
    EXPECT_EQ(inspection.steps.size(), kNames.size());
    for (const qvp::Step& step : inspection.steps) {
        if (step.state == StepState::failed && text.empty())
            text = kNames.at(static_cast<std::size_t>(step.name)) + ": " + step.text;
        else
            EXPECT_EQ(step.state, text.empty() ? StepState::ok : StepState::notReached) << text;
    }
    return text;
}

// What the product states in its build information.
std::string productValue(const std::string& key) {
    for (const auto& row : qvp::compareBuildInformation("", qvp::productBuildInformation()))
        if (row["key"] == key) return row["product"];
    return "nothing";
}

qvp::Trial tryOne(const std::string& file, unsigned rounds = 1) {
    return qvp::tryPlugin({file, {}, {}, rounds}, 40s);
}

const std::string kCrash = kWindows ? "access violation (0xC0000005)" : "SIGSEGV (segmentation fault)";
const std::string kAbort = kWindows ? "abort (0x40000015)" : "SIGABRT (aborted)";

}  // namespace

TEST(Inspect, BlamesTheStepAndTheCallThatFail) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"good", ""},
        {"needsLibrary", ""},
        {"crashWhenOpened", "opened: its code crashed while it was opened: " + kCrash},
        {"abortWhenOpened", "opened: its code crashed while it was opened: " + kAbort},
        {"exitWhenOpened", "opened: called exit(3) while it was opened"},
        {"noEntryPoints",
         "entryPoints: does not export GetPluginInfo, InitializePlugin, UninitializePlugin, "
         "GetPluginBuildInfo"},
        {"crashInBuildInfo", "buildInformation: its code crashed in GetPluginBuildInfo: " + kCrash},
        {"refusedBuild",
         "buildInformation: the plugin states CompilerName MSVC Release 0, the product CompilerName " +
             productValue("CompilerName") + " Release " + productValue("Release")},
        {"throwInInfo", "descriptor: threw int in GetPluginInfo"},
        {"emptyName", "descriptor: This plugin has an empty name."},
        {"closesDescriptors", ""},
        {"longBuildInfo", ""},
        {"endsProcess",
         "opened: its process ended with status 0, neither by a signal nor by exit() (by _exit(), or by the "
         "loader itself) while it was opened"}};
    Texts files;
    for (const auto& [name, text] : cases) files.push_back(support::specimen(name));
    const auto inspections = inspectAll(files);
    for (std::size_t i = 0; i < cases.size(); ++i)
        EXPECT_EQ(failure(inspections[i]), cases[i].second) << files[i];
    EXPECT_EQ(inspections[0].printed.substr(0, 24), "said while it was opened");
    EXPECT_TRUE(inspections[7].descriptor);
    EXPECT_EQ(inspections[7].managersLine,
              "Plugin file could not be loaded : The plugin Speci\xC3\xA4l was built in debug mode while "
              "Quorex was built in debug mode");
    EXPECT_EQ(inspections[5].managersLine,
              "Plugin file could not be loaded : Symbol GetPluginInfo was not found in this plugin.");
    EXPECT_EQ(inspections[8].managersLine, "Plugin file could not be loaded : unknown exception");

    if (support::kThreadSanitizer) return;
    const auto thrown = inspectAll({support::specimen("throwWhenOpened")});
    EXPECT_EQ(failure(thrown[0]), "opened: its static initializers threw: thrown while it was opened");
}

// Several files share a process: one that fails, or crashes when it is closed, is no matter for the others.
TEST(Inspect, SaysTheSameOfManyFilesAsOfEachAlone) {
    const Texts kinds{"good",    "crashInDestructor", "independent",
                      "nowhere", "exitWhenOpened",    "needsLibrary"};
    Texts alone;
    for (const std::string& kind : kinds)
        alone.push_back(failure(inspectAll({support::specimen(kind)}).front()));
    EXPECT_EQ(alone[4], "opened: called exit(3) while it was opened");
    Texts files;
    for (int i = 0; i < 60; ++i) files.push_back(support::specimen(kinds[static_cast<std::size_t>(i) % 6]));
    const auto together = inspectAll(files, 40s, qvp::Depth::descriptor);
    for (std::size_t i = 0; i < files.size(); ++i) {
        EXPECT_EQ(failure(together[i]), alone[i % 6]) << files[i];
        EXPECT_EQ(together[i].descriptor.has_value(), alone[i % 6].empty()) << files[i];
        EXPECT_TRUE(together[i].file.needed.empty());
    }
}

TEST(Inspect, EndsChildrenThatTakeTooLong) {
    const auto inspections =
        inspectAll({support::specimen("hangWhenOpened"), support::specimen("hangInInfo")}, 1s);
    EXPECT_EQ(failure(inspections[0]), "opened: did not open within 1 s");
    EXPECT_EQ(failure(inspections[1]), "descriptor: did not return from GetPluginInfo within 1 s");
}

// One after the other they would take 24 s.
TEST(Inspect, ThoseThatOnlyWaitMakeRoom) {
    const auto start = std::chrono::steady_clock::now();
    std::size_t count = 0;
    qvp::inspect(Texts(8, support::specimen("hangWhenOpened")), qvp::Depth::descriptor, {3s, 1},
                 [&](std::size_t, const Inspection&) { ++count; });
    EXPECT_EQ(count, 8U);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 18s);
}

// What one leaves in its process does not reach the next one.
TEST(Inspect, EachIsInspectedInACleanProcess) {
    if (kWindows) GTEST_SKIP() << "Wine does not limit a job's memory";
    if (support::kAddressSanitizer || support::kThreadSanitizer)
        GTEST_SKIP() << "it ends a process that gets no memory";
    const Texts files(3, support::specimen("takesMemory"));
    const auto inspections = inspectAll(files);
    for (const Inspection& inspection : inspections)
        EXPECT_EQ(failure(inspection), "descriptor: threw std::bad_alloc: std::bad_alloc in GetPluginInfo");
}

TEST(Inspect, EndsWhatAChildHasStarted) {
    const support::TemporaryFolder folder;
    const auto inspections = inspectAll({support::copySpecimen("startsAnother.qvp", folder.path())}, 8s);
    EXPECT_EQ(failure(inspections[0]), "opened: did not open within 8 s");
    EXPECT_TRUE(std::filesystem::exists(support::pathOf(folder.path() + "go.here")));
    folder.addFile("go");
    std::this_thread::sleep_for(1s);
    EXPECT_FALSE(std::filesystem::exists(support::pathOf(folder.path() + "go.done")));
}

TEST(Inspect, BringsTheDescriptorWhole) {
    const Inspection good = inspectAll({support::specimen("good")})[0];
    const auto& info = good.descriptor.value();
    EXPECT_EQ(info.name, "specimen");
    EXPECT_EQ(info.displayName, "Speci\xC3\xA4l");
    EXPECT_EQ(info.vendor, "not UTF-8: \xEF\xBF\xBD");
    EXPECT_EQ(info.path, good.file.path);
    EXPECT_EQ(info.version.toString(), "1.2.3.4");
    EXPECT_EQ(info.version.label, "beta");
    ASSERT_EQ(info.dependencies.size(), 1U);
    EXPECT_EQ(info.dependencies[0], QvPluginSystem::QvDependency("scene", Qv::QvVersion("1.2")));
    EXPECT_EQ(good.entryPointsFound.size(), 4U);
    EXPECT_NE(good.buildInformation.find("Plateform:64\n"), std::string::npos);
    EXPECT_FALSE(good.libraries.empty());
}

TEST(Inspect, NamesTheMissingLibraryAndWhoNeedsIt) {
    const support::TemporaryFolder folder;
    const std::string middle = kWindows ? "libspecimenMiddle.dll" : "libspecimenMiddle.so";
    const std::string base = kWindows ? "libspecimenBase.dll" : "libspecimenBase.so";
    const std::string plugin = support::copySpecimen("needsLibrary.qvp", folder.path());
    const std::string first = failure(inspectAll({plugin}, 40s, qvp::Depth::descriptor)[0]);
    EXPECT_EQ(first.substr(0, first.find(" folders")).substr(0, 18 + middle.size()),
              "libraries: needs " + middle + ",");

    support::copySpecimen(middle, folder.path());
    const Inspection lacking = inspectAll({plugin})[0];
    const std::string expected =
        "libraries: needs " + base + " (for " + middle + "), which was not found in ";
    EXPECT_EQ(failure(lacking).substr(0, expected.size()), expected);
    const auto missing =
        std::find_if(lacking.libraries.begin(), lacking.libraries.end(),
                     [&](const qvp::NeededLibrary& library) { return library.name == base; });
    ASSERT_NE(missing, lacking.libraries.end());
    EXPECT_EQ(missing->neededBy, folder.path() + middle);
    EXPECT_EQ(missing->chain, (Texts{plugin, folder.path() + middle}));
    const std::string searched = folder.path() + (kWindows ? "" : "below");
    EXPECT_EQ(missing->lookedIn.front(), kWindows ? searched.substr(0, searched.size() - 1) : searched);

    support::copySpecimen(base, kWindows ? folder.path() : folder.addDirectory("below"));
    const Inspection found = inspectAll({plugin})[0];
    EXPECT_EQ(failure(found), "");
    for (const qvp::NeededLibrary& library : found.libraries) {
        const std::string own = kWindows ? "own folder" : "run path";
        EXPECT_EQ(library.foundBy == own, library.name == base || library.name == middle) << library.name;
    }
}

TEST(Inspect, OnlyReadsALibraryForTheOtherSystem) {
    const support::TemporaryFolder folder;
    const auto add = [&](const std::string& name, const Texts& exported) {
        const support::LibraryImage facts{{"libother"}, exported};
        support::writeFile(folder.path() + name, kWindows ? elfImage(facts) : peImage(facts));
        return folder.path() + name;
    };
    const Texts files{add("whole.qvp", support::entryPoints()), add("empty.qvp", {"GetPluginInfo"})};
    const auto ok = StepState::ok;
    const auto needsOther = StepState::needsOtherSystem;
    const auto notReached = StepState::notReached;
    const std::vector<std::vector<StepState>> expected{
        {ok, ok, ok, needsOther, needsOther, ok, needsOther, needsOther},
        {ok, ok, ok, needsOther, needsOther, StepState::failed, notReached, notReached}};
    for (const qvp::Depth depth : {qvp::Depth::descriptor, qvp::Depth::everything}) {
        const auto inspections = inspectAll(files, 40s, depth);
        for (std::size_t i = 0; i < files.size(); ++i) {
            std::vector<StepState> states;
            for (const qvp::Step& step : inspections[i].steps) states.push_back(step.state);
            EXPECT_EQ(states, expected[i]) << files[i];
            EXPECT_EQ(inspections[i].isOnlyRead(), i == 0);
            EXPECT_EQ(inspections[i].steps[3].text, kWindows ? "needs Linux" : "needs Windows");
        }
        EXPECT_EQ(inspections[1].steps[5].text,
                  "does not export InitializePlugin, UninitializePlugin, GetPluginBuildInfo");
        if (depth == qvp::Depth::descriptor) continue;
        EXPECT_EQ(inspections[0].entryPointsFound, support::entryPoints());
        ASSERT_EQ(inspections[0].libraries.size(), 1U);
        EXPECT_EQ(inspections[0].libraries[0].name, "libother");
        EXPECT_FALSE(inspections[0].libraries[0].isMissing());
    }

    // For a library that this system's loader looks for, such a file does not count.
    const std::string middle = kWindows ? "libspecimenMiddle.dll" : "libspecimenMiddle.so";
    add(middle, {});
    const Inspection lacking = inspectAll({support::copySpecimen("needsLibrary.qvp", folder.path())})[0];
    EXPECT_EQ(failure(lacking).rfind("libraries: needs " + middle + ", which was not found in ", 0), 0U)
        << failure(lacking);
}

TEST(Inspect, WhatItsCallerThrowsEndsTheChildren) {
    const Texts files{support::specimen("hangWhenOpened"), support::specimen("good"),
                      support::specimen("good")};
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THROW(qvp::inspect(files, qvp::Depth::descriptor, {50s, 2},
                              [](std::size_t, const Inspection&) { throw 1; }),
                 int);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 45s);
}

TEST(Trial, TellsPhasesObjectsAndWhetherTheFileIsGone) {
    const std::string file = support::specimen("leavesObject");
    const qvp::Trial trial = tryOne(file);
    EXPECT_TRUE(trial.initialized && trial.uninitialized && trial.unmapped)
        << trial.end.text << trial.end.report;
    EXPECT_EQ(trial.order, Texts{"specimen"});
    EXPECT_EQ(trial.published, Texts{"(anonymous namespace)::Published"});
    EXPECT_EQ(trial.left, trial.published);
    ASSERT_EQ(trial.phases.size(), 4U);
    EXPECT_EQ(trial.phases[3].name, "close");
    const qvp::Trial clean = tryOne(support::specimen("independent"), 3);
    EXPECT_TRUE(clean.left.empty() && clean.isFinished);
    EXPECT_EQ(clean.rounds, 3U);
    for (const auto& leftover : clean.leftovers) ADD_FAILURE() << leftover.kind << ": " << leftover.text;

    const qvp::Trial lonely = tryOne(support::specimen("good"));
    EXPECT_FALSE(lonely.initialized);
    ASSERT_EQ(lonely.failures.size(), 1U);
    EXPECT_EQ(lonely.failures[0].text, "Could not find dependent plugin scene");
}

TEST(Trial, WritesTheCallStackOfACrash) {
    if (support::kThreadSanitizer) GTEST_SKIP() << "the crash is in a signal handler";
    const qvp::Trial trial = tryOne(support::specimen("crashWhenInitialized"));
    EXPECT_EQ(trial.end.kind, qvp::ChildEnd::Kind::crashed);
    EXPECT_EQ(trial.end.text, kCrash);
    EXPECT_NE(trial.crashStack.find("InitializePlugin"), std::string::npos) << trial.crashStack;
    EXPECT_EQ(trial.phases.size(), 1U);
    EXPECT_EQ(trial.crashStack.find("ERROR:"), std::string::npos) << trial.crashStack;
}

TEST(Trial, TellsWhatAPluginLeavesBehind) {
    const qvp::Trial trial = tryOne(support::specimen("leavesThings"), 2);
    EXPECT_TRUE(trial.uninitialized) << trial.end.report;
    EXPECT_EQ(trial.rounds, 1U);
    std::set<std::string> kinds;
    std::string environment;
    for (const auto& leftover : trial.leftovers) {
        kinds.insert(leftover.kind);
        if (leftover.kind == "environment") environment = leftover.text;
    }
    for (const char* const kind : {"thread", "currentDirectory", kWindows ? "thread" : "descriptor"})
        EXPECT_EQ(kinds.count(kind), 1U) << kind << '\n' << trial.end.report;
    EXPECT_EQ(environment, "QVP_SPECIMEN_WAS_HERE (yes)");
}

TEST(Trial, RunsPluginsInAPlainHost) {
    const std::string maps = tryOne(support::specimen("independent")).end.output;
    EXPECT_EQ(maps.find("libQvPlatform") == std::string::npos, kWindows) << maps;
    for (const char* const library : {"libdw", "libelf", "libz."})
        EXPECT_EQ(maps.find(library), std::string::npos) << maps;
}

TEST(Inspect, NamesMissingSymbols) {
    const support::TemporaryFolder folder;
    const std::string suffix = kWindows ? ".dll" : ".so";
    const std::string plugin = support::copySpecimen("needsLibrary.qvp", folder.path());
    std::filesystem::copy_file(support::pathOf(support::specimenFile("libspecimenBase" + suffix)),
                               support::pathOf(folder.path() + "libspecimenMiddle" + suffix));
    const Inspection lacking = inspectAll({plugin})[0];
    // Wine opens it all the same, and crashes later.
    const auto missing =
        kWindows ? qvp::findMissingSymbols(lacking.file, lacking.libraries) : lacking.missingSymbols;
    EXPECT_EQ(failure(lacking).substr(0, 8), "opened: ") << failure(lacking);
    ASSERT_EQ(missing.size(), 1U);
    EXPECT_EQ(missing[0].name, "libraryFunction()");
    EXPECT_EQ(missing[0].neededBy, plugin);
    EXPECT_EQ(missing[0].isLinked, kWindows);
    if (!kWindows) {
        EXPECT_NE(lacking.managersLine, "");
    }
}

#ifndef _WIN32
TEST(Inspect, NamesALibraryThatIsThereButUnusable) {
    const support::TemporaryFolder folder;
    std::filesystem::create_symlink("gone.so", support::pathOf(folder.path() + "libspecimenMiddle.so"));
    const Inspection lacking = inspectAll({support::copySpecimen("needsLibrary.qvp", folder.path())})[0];
    EXPECT_NE(failure(lacking).find(
                  "libspecimenMiddle.so is of no use: it is a link to gone.so, which does not exist"),
              std::string::npos)
        << failure(lacking);
}
#endif

// An empty value takes the next line, and a line end of another system belongs to the value.
TEST(BuildInformation, IsReadAsTheManagerReadsIt) {
    const auto rows = qvp::compareBuildInformation("Plateform:\nCompilerName:MSVC\nRelease:0\nRelease:1\r",
                                                   "CompilerName:MSVC\nRelease:1");
    EXPECT_EQ(rows, qvp::Document::array(
                        {{{"key", "CompilerName"}, {"plugin", nullptr}, {"product", "MSVC"}, {"same", false}},
                         {{"key", "Release"}, {"plugin", "1\r"}, {"product", "1"}, {"same", false}},
                         {{"key", "Plateform"},
                          {"plugin", "CompilerName:MSVC"},
                          {"product", nullptr},
                          {"same", false}}}));
}
