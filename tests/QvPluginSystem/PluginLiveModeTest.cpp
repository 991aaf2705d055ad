// Live mode: the copies that are opened in the place of plugin files, and libraries that stay in memory.

#include "ReloadFixture.h"
#include "support/Platform.h"

#include <QvPlatform/QvPluginSystem/LoadSharedLibrary.h>
#include <QvPlatform/system/Process.h>

#include <algorithm>
#include <optional>
#include <utility>

#ifndef _WIN32
#include "support/ForkAsNobody.h"

#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <thread>
#endif

namespace {

using QvPluginSystem::QvPluginReloader;
using QvPluginSystem::QvReloadResult;
using support::Texts;

class PluginLiveModeTest : public support::ReloadTest {
protected:
    QvReloadResult reload(const std::string& name) { return reloader->reload(name); }

    /// A function that the running version of a plugin exports; null if there is none.
    template <typename Function>
    Function* functionIn(const std::string& plugin, const char* name) const {
        for (const std::string& copy : copies()) {
            if (!copy.starts_with('.' + plugin + '.')) continue;
            const QvPluginSystem::LoadSharedLibrary library(path(copy));
            return reinterpret_cast<Function*>(QvPluginSystem::getSymbolAddress(library.handle, name));
        }
        return nullptr;
    }

    std::optional<QvPluginReloader> reloader{std::in_place};
};

TEST_F(PluginLiveModeTest, theFileCanBeOverwrittenWhileItsPluginRuns) {
    const std::string a = put("a", {"version 1.0"});
    manager->load(a);
    EXPECT_EQ(copies().size(), 1U);
    EXPECT_EQ(manager->getPluginForName("a")->path, a);
    EXPECT_TRUE(manager->isLoaded(a));
    support::writeFile(a, std::string(1'000'000, 'x'));
    EXPECT_EQ(reload("a").outcome, Outcome::refused);
    support::writeFile(a, content("a", {"version 1.1"}));
    const QvReloadResult result = reload("a");
    EXPECT_EQ(result.outcome, Outcome::reloaded) << result.text();
    EXPECT_EQ(manager->getPluginForName("a")->version.toString(), "1.1.0.0");
    support::writeFile(a);
    manager->unloadAll();
    EXPECT_EQ(copies(), Texts{});
}

TEST_F(PluginLiveModeTest, messagesNameTheFileAndNotItsCopy) {
    const std::string a = path("a.qvp");
    support::writeFile(a, "no library");
    logCapture.take();
    manager->load(a);
    std::string error;
    for (const std::string& text : logCapture.takeTexts()) error += text;
    EXPECT_NE(error.find(a), std::string::npos) << error;
    EXPECT_EQ(error.find(".live-"), std::string::npos) << error;
    EXPECT_EQ(copies(), Texts{});
}

TEST_F(PluginLiveModeTest, copiesOfEndedProcessesAreRemoved) {
    const std::string own = std::to_string(QvSim::Process::getProcessID());
    for (const char* name : {".b.qvp.live-4000000000-abcdef", ".b.qvp.live-x-abcdef", ".b.qvp.live-1-abc"})
        folder.addFile(name);
    folder.addFile(".b.qvp.live-" + own + "-abcdef");
    manager->load(put("a"));
    Texts left = copies();
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left.size(), 3U);
    EXPECT_EQ(left[0].substr(0, 12), ".a.qvp.live-");
    EXPECT_EQ(Texts(left.begin() + 1, left.end()), (Texts{".b.qvp.live-1-abc", ".b.qvp.live-x-abcdef"}));
}

TEST_F(PluginLiveModeTest, aPluginThatWasLoadedBeforeIsReloadedToo) {
    reloader.reset();
    search();
    const std::string a = put("a", {"version 1.0"});
    manager->load(a);
    manager->load(put("b", {"needs a 1.0"}));
    reloader.emplace();
    const Texts before = standing();
    put("a", {"version 1.1", "initialize false"});
    QvReloadResult result = reload("a");
    EXPECT_EQ(result.outcome, Outcome::rolledBack) << result.text();
    EXPECT_EQ(standing(), before);
    EXPECT_EQ(manager->getPluginForName("a")->version.toString(), "1.0.0.0");
    put("a", {"version 1.2"});
    result = reload("a");
    EXPECT_EQ(result.outcome, Outcome::reloaded) << result.text();
    EXPECT_EQ(standing(), before);
    reloader.reset();
    EXPECT_EQ(copies().size(), 2U);
    manager->unloadAll();
    EXPECT_EQ(copies(), Texts{});
}

TEST_F(PluginLiveModeTest, withoutTheRunningVersionThereIsNoWayBack) {
    if (support::kWindows) GTEST_SKIP() << "the system does not let a file be replaced while it is mapped";
    reloader.reset();
    manager->load(put("a"));
    put("a", {"version 2"});
    reloader.emplace();
    const QvReloadResult result = reload("a");
    EXPECT_EQ(result.outcome, Outcome::refused);
    EXPECT_EQ(result.reason.substr(0, 33), "a: it was loaded before live mode");
    EXPECT_TRUE(manager->unload("a"));
    manager->load(path("a.qvp"));
    put("a", {"version 3"});
    EXPECT_EQ(reload("a").outcome, Outcome::reloaded);
}

// On Linux the new file may get the identity that the file of a running plugin had.
TEST_F(PluginLiveModeTest, aFileIsNotTakenForOneThatWasReplaced) {
    manager->load(put("a"));
    std::filesystem::rename(support::pathOf(path("a.qvp")), support::pathOf(path("b.qvp")));
    EXPECT_TRUE(manager->isLoaded(path("a.qvp")));
    EXPECT_FALSE(manager->isLoaded(path("b.qvp")));
    manager->load(path("b.qvp"));
    EXPECT_EQ(loadedNames(), (Texts{"a", "a"}));
    put("a", {"version 2"});
    EXPECT_EQ(reload("a").outcome, Outcome::reloaded);
    EXPECT_EQ(manager->getPlugins()[0]->path, path("a.qvp"));
}

TEST_F(PluginLiveModeTest, whatIsStillPublishedKeepsItsLibraryMapped) {
    manager->load(put("a", {"publishes", "listens"}));
    const std::size_t before = manager->getAllObjects().size();
    put("a", {"version 2"});
    logCapture.take();
    const QvReloadResult result = reload("a");
    EXPECT_EQ(result.outcome, Outcome::reloaded);
    std::string logged;
    for (const std::string& text : logCapture.takeTexts()) logged += text;
    EXPECT_NE(logged.find("Closing " + path("a.qvp") + ": the library stays in memory: what"), logged.npos);
    EXPECT_EQ(messagesOf(result, Action::unload),
              "the library stays in memory: what is still published or registered belongs to it: listener "
              "(anonymous namespace)::Listening, object (anonymous namespace)::Published");
    EXPECT_NE(result.text().find("  unload a: the library stays"), std::string::npos);
    ASSERT_EQ(manager->getAllObjects().size(), before);
    EXPECT_FALSE(dynamic_cast<CallLog*>(manager->getAllObjects().back()));  // its code is still there
    manager->load(put("b"));                                                // and so is the listener's
    EXPECT_EQ(copies().size(), 3U);
}

// From the same copy it would come back with the variables of its first run.
TEST_F(PluginLiveModeTest, whatStayedInMemoryComesBackFromANewCopy) {
    manager->load(put("a", {"publishes"}));
    put("a", {"version 2", "initialize false"});
    const QvReloadResult result = reload("a");
    EXPECT_EQ(result.outcome, Outcome::rolledBack) << result.text();
    EXPECT_EQ(copies().size(), 2U);
}

TEST_F(PluginLiveModeTest, aThreadThatWasLeftKeepsItsLibraryMapped) {
    for (const std::string name : {"hearing", "deaf", "busy"}) {
        manager->load(put(name, {"leavesThread " + name}));
        auto* const endLeftThread = functionIn<void()>(name, "endLeftThread");
        ASSERT_TRUE(endLeftThread);
        put(name, {"version 2"});
        const QvReloadResult result = reload(name);
        EXPECT_EQ(result.outcome, Outcome::reloaded) << result.text();
        const std::string message = messagesOf(result, Action::unload);
        EXPECT_EQ(message.find("the library stays in memory: thread "), 0U) << message;
        EXPECT_NE(message.find(" is still in "), message.npos) << message;
        // It is in no other library, but a thread that neither hears nor waits may be anywhere.
        put(name, {"version 3"});
        const std::string next = messagesOf(reload(name), Action::unload);
        EXPECT_TRUE(next.empty() || name == "busy") << name << ": " << next;
        endLeftThread();
    }
}

TEST_F(PluginLiveModeTest, aLibraryThatTheSystemKeepsIsReported) {
    if (support::kWindows) GTEST_SKIP() << "the reasons are those of ELF files";
    const std::pair<const char*, const char*> libraries[] = {
        {"staying.qvp", "is marked as not to be unloaded (-z nodelete)"},
        {"unique.qvp", "defines unique symbols, such as uniqueVariable (-fno-gnu-unique avoids them)"},
        {"threadLocal.qvp", "has thread-local objects, which threads that still run have yet to destroy"}};
    for (const auto& [library, reason] : libraries) {
        const std::string text = support::readFile(support::builtLibrary(library));
        support::writeFile(path("incomplete.qvp"), text);
        manager->load(path("incomplete.qvp"));
        support::writeFile(path("incomplete.qvp"), text + ' ');
        const QvReloadResult result = reload("incomplete");
        EXPECT_EQ(result.outcome, Outcome::reloaded) << result.text();
        EXPECT_EQ(messagesOf(result, Action::unload),
                  "the library stays in memory: it " + std::string(reason));
        manager->unloadAll();
    }
}

TEST_F(PluginLiveModeTest, aPluginOnTheCallStackIsNotUnloaded) {
    search();
    put("a");
    manager->load(put("b", {"needs a 0"}));
    put("a", {"version 2"});
    using Function = void (*)(void*);
    auto* const callBack = functionIn<void(Function, void*)>("b", "callBack");
    ASSERT_TRUE(callBack);
    QvReloadResult result;
    struct Call {
        QvPluginReloader& reloader;
        QvReloadResult& result;
    } call{*reloader, result};
    callBack(
        [](void* data) {
            const auto& inner = *static_cast<Call*>(data);
            inner.result = inner.reloader.reload("a");
        },
        &call);
    EXPECT_EQ(result.reason, "b: one of its functions is on the call stack");
    EXPECT_EQ(reload("a").outcome, Outcome::reloaded);
}

#ifndef _WIN32
TEST_F(PluginLiveModeTest, aFolderThatCannotBeWrittenIsAClearError) {
    const std::string a = put("a");
    chmod(folder.path().c_str(), 0555);
    support::inForkAsNobody([&] {
        manager->load(a);
        EXPECT_EQ(takeCalls(),
                  Texts{"error a.qvp (no descriptor): Plugin file could not be loaded : the file cannot be "
                        "copied within its folder, as live mode requires: Permission denied"});
    });
    chmod(folder.path().c_str(), 0777);
    manager->load(a);
    put("a", {"version 2"});
    // A child leaves the copies of its parent alone.
    support::inFork([&] { manager->unloadAll(); });
    EXPECT_EQ(copies().size(), 1U);
    EXPECT_EQ(reload("a").outcome, Outcome::reloaded);
}

TEST_F(PluginLiveModeTest, ifTheCopyCannotBeWrittenTheOldVersionRuns) {
    manager->load(put("a", {"version 1"}));
    put("a", {"version 2"});
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small{1'000, before.rlim_max};
    const auto onLimit = std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    QvReloadResult result = reload("a");
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, onLimit);
    EXPECT_EQ(result.outcome, Outcome::refused);
    EXPECT_EQ(result.reason,
              "a: the file cannot be copied within its folder, as live mode requires: File too large");
    EXPECT_EQ(manager->getPluginForName("a")->version.toString(), "1.0.0.0");
    EXPECT_EQ(copies().size(), 1U);
    result = reload("a");
    EXPECT_EQ(result.outcome, Outcome::reloaded) << result.text();
}

TEST_F(PluginLiveModeTest, aCancellationWaitsForTheEndOfTheReload) {
    reloader.reset();
    Outcome outcome = Outcome::refused;
    bool isCancelled = true;
    std::thread([&] {
        QvPluginReloader own;
        manager->load(put("a", {"version 1"}));
        put("a", {"version 2"});
        pthread_cancel(pthread_self());
        outcome = own.reload("a").outcome;
        pthread_testcancel();
        isCancelled = false;
    }).join();
    EXPECT_EQ(outcome, Outcome::reloaded);
    EXPECT_TRUE(isCancelled);
    EXPECT_EQ(manager->getPluginForName("a")->version.toString(), "2.0.0.0");
}
#endif

struct Footprint {
    static Footprint now() {
        Footprint footprint;
#ifndef _WIN32
        std::ifstream maps("/proc/self/maps");
        for (std::string line; std::getline(maps, line);)
            footprint.libraries += line.find(".qvp") != line.npos;
        for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
            ++footprint.descriptors;
#endif
        footprint.bytes = QvSim::Process::getProcessMemoryInfo().workingSetSize;
        return footprint;
    }
    int libraries = 0;  ///< Mappings of plugins.
    int descriptors = 0;
    std::uint64_t bytes = 0;
};

TEST_F(PluginLiveModeTest, aThousandReloadsLeaveNothingBehind) {
    const std::string a = put("a");
    manager->load(a);
    const std::string contents[] = {content("a", {"save 1"}), content("a", {"save 2"})};
    const auto reloadOften = [&](int rounds) {
        for (int i = 0; i < rounds; ++i) {
            support::writeFile(a, contents[i % 2]);
            ASSERT_EQ(reload("a").outcome, Outcome::reloaded);
        }
    };
    logCapture.take();
    reloadOften(20);
    takeCalls();
    const Footprint before = Footprint::now();
    for (int i = 0; i < 10; ++i) {
        reloadOften(100);
        takeCalls();
        logCapture.take();
    }
    const Footprint after = Footprint::now();
    EXPECT_EQ(after.libraries, before.libraries);
    EXPECT_EQ(after.descriptors, before.descriptors);
    // The sanitizers keep freed memory.
    const bool isSanitized = support::kAddressSanitizer || support::kThreadSanitizer;
    EXPECT_TRUE(isSanitized || after.bytes < before.bytes + 4'000'000) << before.bytes << ' ' << after.bytes;
    EXPECT_EQ(copies().size(), 1U);
}

}  // namespace
