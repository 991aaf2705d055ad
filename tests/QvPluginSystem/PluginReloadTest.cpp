#include "ReloadFixture.h"
#include "support/Platform.h"
#include "support/Rights.h"
#include "support/SmallStack.h"

#include <stdexcept>
#include <thread>

namespace {

using QvPluginSystem::QvPluginInfo;
using QvPluginSystem::QvPluginReloader;
using QvPluginSystem::QvReloadResult;
using support::Texts;

/// "base" below "left" and "right", both below "top", which is loaded by request; "other" on its own.
class PluginReloadTest : public support::ReloadTest {
protected:
    PluginReloadTest() {
        search();
        put("base", {"version 1.0", "compatibility 1.0", "save of base"});
        put("left", {"needs base 1.0", "save of left"});
        put("right", {"needs base 1.0"});
        manager->load(put("other"));
        manager->load(put("top", {"needs left 0", "needs right 0", "save of top"}));
        before = standing();
        takeCalls();
    }

    /// Expects that everything is loaded as before, in the old versions.
    void expectAsBefore(const QvReloadResult& result) const {
        EXPECT_EQ(standing(), before) << result.text();
        EXPECT_EQ(versionOf("base"), "1.0.0.0");
        EXPECT_EQ(result.lost.size(), 0U);
        EXPECT_EQ(copies().size(), 5U);
    }

    std::string versionOf(const std::string& name) const {
        return manager->getPluginForName(name)->version.toString();
    }

    QvPluginReloader reloader;
    Texts before;
};

TEST_F(PluginReloadTest, theNewVersionRunsAndKeepsItsState) {
    put("base", {"version 1.1", "compatibility 1.0", "save of base 2"});
    const QvReloadResult result = reloader.reload("base");
    EXPECT_EQ(result.outcome, Outcome::reloaded) << result.text();
    EXPECT_TRUE(result);
    EXPECT_EQ(result.reason + result.refusedBy, "");
    EXPECT_EQ(versionOf("base"), "1.1.0.0");
    EXPECT_EQ(standing(), before);
    EXPECT_EQ(copies().size(), 5U);
    EXPECT_EQ(stepsOf(result),
              (Texts{"check base", "save top", "unload top", "save right!", "unload right", "save left",
                     "unload left", "save base", "unload base", "load base", "restore base", "load left",
                     "restore left", "load right", "load top", "restore top"}));
    const Texts calls = takeCalls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "changed"), 1);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "restore of base base"), 1);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "restore of top top"), 1);
    EXPECT_EQ(calls.back(), "changed");
    EXPECT_EQ(result.text().substr(0, 18), "base: reloaded in ");
}

TEST_F(PluginReloadTest, listenersHearWhatTheyHearAtAnyLoading) {
    put("top", {"needs left 0", "needs right 0"});
    EXPECT_TRUE(reloader.reload("top"));
    EXPECT_EQ(takeCalls(), (Texts{"describe top", "describe top", "save top", "ask uninitialize top",
                                  "uninitialize with error top", "describe top", "describe top",
                                  "ask initialize top", "initialize top", "restore of top top", "changed"}));
}

TEST_F(PluginReloadTest, anUnchangedFileIsNotReloaded) {
    const std::string content = support::readFile(path("base.qvp"));
    support::writeFile(path("base.qvp"), content);
    const QvReloadResult result = reloader.reload("base");
    EXPECT_EQ(result.outcome, Outcome::unchanged);
    EXPECT_TRUE(result);
    EXPECT_EQ(takeCalls(), Texts{});
    put("left", {"needs base 1.0", "version 2"});
    EXPECT_EQ(reloader.reload(Qv::QvArray<std::string>{"base", "left"}).outcome, Outcome::reloaded);
    EXPECT_EQ(standing(), before);
    EXPECT_EQ(reloader.reload(Qv::QvArray<std::string>{}).outcome, Outcome::unchanged);
}

TEST_F(PluginReloadTest, aFileThatOthersCanChangeIsRefusedIfAsked) {
    support::letEveryoneWrite(put("base", {"version 1.1", "compatibility 1.0"}));
    manager->setRefusesUnsafeFiles(true);
    const QvReloadResult result = reloader.reload("base");
    manager->setRefusesUnsafeFiles(false);
    EXPECT_EQ(result.outcome, Outcome::refused);
    EXPECT_NE(result.reason.find("Other users can change " + path("base.qvp") + ": "), std::string::npos)
        << result.reason;
    expectAsBefore(result);
}

TEST_F(PluginReloadTest, severalAreReloadedAtOnce) {
    put("base", {"version 2.0", "compatibility 2.0"});
    put("left", {"needs base 2.0"});
    put("right", {"needs base 2.0"});
    EXPECT_EQ(reloader.reload(Qv::QvArray<std::string>{"left", "base"}).outcome, Outcome::refused);
    const QvReloadResult result = reloader.reload(Qv::QvArray<std::string>{"right", "left", "base", "base"});
    EXPECT_EQ(result.outcome, Outcome::reloaded) << result.text();
    EXPECT_EQ(standing(), before);
    EXPECT_EQ(versionOf("base"), "2.0.0.0");
}

TEST_F(PluginReloadTest, newDependenciesComeAndOldOnesGo) {
    put("fresh", {"needs deeper 0"});
    put("deeper");
    put("top", {"needs left 0", "needs fresh 0"});
    const QvReloadResult result = reloader.reload("top");
    EXPECT_EQ(result.outcome, Outcome::reloaded) << result.text();
    EXPECT_EQ(standing(),
              (Texts{"other 1 requested", "base 1", "left 1", "deeper 1", "fresh 1", "top 1 requested"}));
    EXPECT_EQ(stepsOf(result).back(), "unload right");
}

TEST_F(PluginReloadTest, whatTheCheckFindsChangesNothing) {
    struct Case {
        Texts lines;
        std::string by;
        std::string reason;
    };
    put("odd", {"name another", "needs odd 0"});
    const std::string cannotLoad = "base: Plugin file could not be loaded : ";
    const Case cases[] = {
        {{"describe throw"}, "base", cannotLoad + "describe threw"},
        {{"build CompilerName:MSVC", "build Plateform:32"}, "base", cannotLoad},
        {{"name else"}, "base", "base: its file now contains the plugin \"else\""},
        {{"version 1.0", "needs nobody 1"}, "base", "base: Could not find dependent plugin nobody"},
        {{"version 1.0", "needs top 0"}, "left", "left: "},
        {{"version 1.0", "needs odd 0"}, "another", "another: "},
        {{"version 2.0", "compatibility 2.0"}, "left", "left: base is not compatible."},
        {{"version 0.9"}, "left", "left: base is not compatible."},
    };
    for (const Case& one : cases) {
        put("base", one.lines);
        const QvReloadResult result = reloader.reload("base");
        EXPECT_EQ(result.outcome, Outcome::refused) << result.text();
        EXPECT_FALSE(result);
        EXPECT_EQ(result.refusedBy, one.by);
        EXPECT_EQ(result.reason.substr(0, one.reason.size()), one.reason);
        EXPECT_EQ(stepsOf(result), Texts{"check base!"});
        EXPECT_EQ(standing(), before);
        for (const std::string& call : takeCalls()) {
            EXPECT_EQ(call.find("initialize"), std::string::npos) << call;
            EXPECT_NE(call, "changed");
        }
    }
    support::writeFile(path("base.qvp"), "not a library");
    EXPECT_EQ(reloader.reload("base").outcome, Outcome::refused);
    std::filesystem::remove(support::pathOf(path("base.qvp")));
    EXPECT_EQ(reloader.reload("base").reason, "base: there is no file " + path("base.qvp"));
    EXPECT_EQ(reloader.reload("nobody").reason, "nobody: no plugin of this name is loaded");
    EXPECT_EQ(standing(), before);
}

TEST_F(PluginReloadTest, whatIsReloadedButNoLongerNeededGoes) {
    put("left", {"needs base 1.0", "version 2"});
    put("top", {"needs right 0"});
    const QvReloadResult result = reloader.reload(Qv::QvArray<std::string>{"left", "top"});
    EXPECT_EQ(result.outcome, Outcome::reloaded) << result.text();
    EXPECT_EQ(loadedNames(), (Texts{"other", "base", "right", "top"}));
}

TEST_F(PluginReloadTest, aStaticInitializerMayThrowAndBeMended) {
    if (support::kThreadSanitizer) GTEST_SKIP() << "the exception passes through the loader";
    runApart([this] {
        put("base", {"open throw"});
        const QvReloadResult result = reloader.reload("base");
        EXPECT_EQ(result.reason,
                  "base: Plugin file could not be loaded : its static initializers threw: open threw");
        EXPECT_EQ(standing(), before);
        put("base", {"version 1.1"});
        EXPECT_EQ(reloader.reload("base").outcome, Outcome::reloaded);
    });
}

TEST_F(PluginReloadTest, aVetoBringsBackWhatWasUnloaded) {
    put("base", {"version 1.1"});
    for (const char* name : {"top", "right", "left", "base"}) {
        listener.vetoed = name;
        const QvReloadResult result = reloader.reload("base");
        listener.vetoed = "-";
        EXPECT_EQ(result.outcome, Outcome::refused) << result.text();
        EXPECT_EQ(result.refusedBy, "support::RecordingListener");
        EXPECT_EQ(result.reason.substr(0, result.reason.find(':')), name);
        expectAsBefore(result);
    }
    EXPECT_EQ(reloader.reload("base").outcome, Outcome::reloaded);
}

TEST_F(PluginReloadTest, aPluginThatRefusesToGoStaysWithItsDependents) {
    put("base", {"version 1.1"});
    for (const char* how : {"false", "throw"}) {
        support::writeFile(path("left.txt"), std::string("uninitialize ") + how + "\n");
        const QvReloadResult result = reloader.reload("base");
        EXPECT_EQ(result.outcome, Outcome::refused) << result.text();
        EXPECT_EQ(result.refusedBy, "left");
        EXPECT_EQ(result.reason, how[0] == 'f' ? "left: uninitialize said no" : "left: uninitialize threw");
        expectAsBefore(result);
    }
    std::filesystem::remove(support::pathOf(path("left.txt")));
    EXPECT_EQ(reloader.reload("base").outcome, Outcome::reloaded);
}

TEST_F(PluginReloadTest, aVersionThatFailsIsRolledBack) {
    for (const char* how : {"initialize false", "initialize throw", "initialize throwInt"}) {
        put("base", {"version 1.1", how});
        const QvReloadResult result = reloader.reload("base");
        EXPECT_EQ(result.outcome, Outcome::rolledBack) << result.text();
        EXPECT_EQ(result.reason.substr(0, 6), "base: ");
        expectAsBefore(result);
        const Texts calls = takeCalls();
        EXPECT_EQ(std::count(calls.begin(), calls.end(), "changed"), 1);
        EXPECT_EQ(std::count(calls.begin(), calls.end(), "restore of base base"), 1);
    }
}

TEST_F(PluginReloadTest, aDependentThatFailsRollsBackAsWell) {
    put("base", {"version 1.1", "needs fresh 0"});
    put("fresh");
    put("left", {"needs base 1.0", "initialize false", "version 3"});
    const QvReloadResult result = reloader.reload(Qv::QvArray<std::string>{"left", "base"});
    EXPECT_EQ(result.outcome, Outcome::rolledBack) << result.text();
    EXPECT_EQ(result.reason, "left: initialize said no");
    expectAsBefore(result);  // and "fresh" is gone
}

TEST_F(PluginReloadTest, dependentsComeBackAsTheyRanWhateverTheirFilesHold) {
    support::writeFile(path("left.qvp"), "half written");
    std::filesystem::remove(support::pathOf(path("right.qvp")));
    put("base", {"version 1.1"});
    const QvReloadResult result = reloader.reload("base");
    EXPECT_EQ(result.outcome, Outcome::reloaded) << result.text();
    EXPECT_EQ(standing(), before);
}

class VetoOnce : public QvPluginSystem::QvPluginManagerListener {
public:
    VetoOnce() { QvPluginSystem::QvPluginManager::addListener(this); }
    VetoOnce(const VetoOnce&) = delete;
    VetoOnce& operator=(const VetoOnce&) = delete;
    ~VetoOnce() override { QvPluginSystem::QvPluginManager::removeListener(this); }
    bool onAboutToInitialize(const QvPluginInfo& info) override {
        if (throws && info.name == name) throw std::runtime_error("listener threw");
        return info.name != name || calls++ >= allowedAfter;
    }
    bool onAboutToUninitialize(const QvPluginInfo& info) override {
        if (throws && info.name == name) throw std::runtime_error("listener threw");
        return true;
    }
    std::string name;
    int calls = 0;
    int allowedAfter = 1;
    bool throws = false;
};

TEST_F(PluginReloadTest, whatCannotComeBackIsNamed) {
    put("base", {"version 1.1"});
    VetoOnce veto;
    veto.name = "left";
    QvReloadResult result = reloader.reload("base");
    EXPECT_EQ(result.outcome, Outcome::rolledBack) << result.text();
    EXPECT_EQ(result.reason, "left: a listener refuses to let it be initialized");
    expectAsBefore(result);

    veto.calls = 0;
    veto.allowedAfter = 100;
    result = reloader.reload("base");
    EXPECT_EQ(result.outcome, Outcome::lost);
    EXPECT_EQ(Texts(result.lost.begin(), result.lost.end()), (Texts{"left", "top"}));
    EXPECT_EQ(standing(), (Texts{"other 1 requested", "base 1", "right 0"}));
    veto.name = "-";
    EXPECT_EQ(reloader.reload("base").outcome, Outcome::reloaded);
    manager->load(path("top.qvp"));
    EXPECT_EQ(loadedNames(), (Texts{"other", "base", "right", "left", "top"}));
}

TEST_F(PluginReloadTest, aNewVersionThatRefusesToGoIsKept) {
    class KeepingNewBase : public VetoOnce {
        bool onAboutToUninitialize(const QvPluginInfo& info) override {
            return info.version.toString() != "1.1.0.0";
        }
    } veto;
    veto.name = "left";
    put("base", {"version 1.1"});
    const QvReloadResult result = reloader.reload("base");
    EXPECT_EQ(result.outcome, Outcome::reloaded) << result.text();
    EXPECT_EQ(result.reason, "");
    EXPECT_EQ(versionOf("base"), "1.1.0.0");
    EXPECT_EQ(loadedNames(), (Texts{"other", "base", "left", "right", "top"}));
}

TEST_F(PluginReloadTest, whatAListenerThrowsIsItsRefusal) {
    put("base", {"version 1.1"});
    VetoOnce thrower;
    thrower.name = "left";
    thrower.throws = true;
    const QvReloadResult result = reloader.reload("base");
    EXPECT_EQ(result.outcome, Outcome::refused);
    EXPECT_EQ(result.reason, "left: listener threw");
    EXPECT_EQ(loadedNames().size(), 5U);
}

TEST_F(PluginReloadTest, aFailingStateIsReportedAndThePluginRuns) {
    put("top", {"needs left 0", "needs right 0", "restore throw", "save throw"});
    QvReloadResult result = reloader.reload("top");
    EXPECT_EQ(result.outcome, Outcome::reloaded);
    EXPECT_EQ(messagesOf(result, Action::restore), "restore threw");
    put("top", {"needs left 0", "needs right 0", "restore false", "save 3"});
    result = reloader.reload("top");
    EXPECT_EQ(messagesOf(result, Action::save), "save threw");
    EXPECT_EQ(stepsOf(result).back(), "load top");
    put("top", {"needs left 0", "needs right 0", "restore false"});
    result = reloader.reload("top");
    EXPECT_EQ(messagesOf(result, Action::restore),
              "RestorePluginState returned false: the plugin starts anew");
    EXPECT_EQ(result.outcome, Outcome::reloaded);
    EXPECT_EQ(standing(), before);
}

class ReloadingListener : public VetoOnce {
public:
    explicit ReloadingListener(QvPluginReloader& reloader) : reloader_(reloader) {}
    bool onAboutToInitialize(const QvPluginInfo& info) override { return note(info.name); }
    bool onAboutToUninitialize(const QvPluginInfo& info) override { return note(info.name); }
    void onPluginsChanged() override { note("other"); }
    Texts reasons;

private:
    bool note(const std::string& plugin) {
        reasons.push_back(reloader_.reload(plugin).reason);
        return true;
    }
    QvPluginReloader& reloader_;
};

TEST_F(PluginReloadTest, callsAtTheWrongTimeAreRefused) {
    const std::string busy = "the manager is calling a plugin or a listener";
    put("other", {"version 2"});
    ReloadingListener nested(reloader);
    EXPECT_EQ(reloader.reload("other").outcome, Outcome::reloaded);
    EXPECT_EQ(nested.reasons, (Texts{busy, busy, busy}));
    nested.reasons.clear();
    manager->unload("other");
    EXPECT_EQ(nested.reasons, (Texts{busy, busy}));

    QvReloadResult result;
    std::thread([&] { result = reloader.reload("base"); }).join();
    EXPECT_EQ(result.text(), "base: not reloaded: only the thread that created the reloader may reload\n");
    EXPECT_EQ(result.outcome, Outcome::refused);
    QvPluginReloader second;
    EXPECT_EQ(second.reload("base").reason, "there is another reloader");
}

TEST_F(PluginReloadTest, whatAnotherPluginNeedsMeanwhileStays) {
    manager->load(path("base.qvp"));
    put("late", {"needs base 1.0"});
    support::writeFile(path("left.txt"), "whenUninitialized load " + path("late.qvp") + "\n");
    put("base", {"version 1.1"});
    const QvReloadResult result = reloader.reload("base");
    EXPECT_EQ(result.outcome, Outcome::refused);
    EXPECT_EQ(result.reason, "base: other plugins that depend on it were loaded meanwhile");
    EXPECT_EQ(standing(), (Texts{"other 1 requested", "base 4 requested", "left 1", "right 1",
                                 "top 1 requested", "late 1 requested"}));
}

TEST_F(PluginReloadTest, requestsOfPluginsMeanwhileAreHonoured) {
    put("kept");
    put("base", {"version 1.1", "whenInitialized load " + path("kept.qvp"), "initialize false"});
    QvReloadResult result = reloader.reload("base");
    EXPECT_EQ(result.outcome, Outcome::rolledBack) << result.text();
    EXPECT_TRUE(manager->getPluginForName("kept"));
    manager->unload("kept");
    put("fresh");
    put("base", {"version 1.1", "whenInitialized load " + path("fresh.qvp")});
    result = reloader.reload("base");
    EXPECT_EQ(result.outcome, Outcome::reloaded) << result.text();
    EXPECT_TRUE(manager->getPluginForName("fresh"));
    put("base", {"version 1.2", "whenInitialized load " + path("top.qvp")});  // which closes a cycle
    EXPECT_EQ(reloader.reload("base").outcome, Outcome::reloaded);
    put("base", {"version 1.3", "whenUninitialized unload other"});
    EXPECT_EQ(reloader.reload("base").outcome, Outcome::reloaded);
    put("base", {"version 1.4"});
    EXPECT_EQ(reloader.reload("base").outcome, Outcome::reloaded);
    EXPECT_EQ(loadedNames(), (Texts{"base", "left", "right", "top", "fresh"}));
}

class PluginChainTest : public support::ReloadTest {};

TEST_F(PluginChainTest, takesNoStackHoweverLongItIs) {
    constexpr int kLength = 300;
    search();
    put("p0");
    for (int i = 1; i < kLength; ++i)
        put("p" + std::to_string(i), {"needs p" + std::to_string(i - 1) + " 0"});
    bool ended = false;
    support::onSmallStack([&] {
        QvPluginReloader reloader;
        manager->load(path("p299.qvp"));
        EXPECT_EQ(manager->getPlugins().size(), static_cast<std::size_t>(kLength));
        EXPECT_EQ(manager->getProvidedPlugins(manager->getPluginForName("p0")).size(),
                  static_cast<std::size_t>(kLength));
        put("p0");
        const QvReloadResult result = reloader.reload("p0");
        EXPECT_EQ(result.outcome, Outcome::reloaded) << result.text();
        EXPECT_TRUE(manager->unload("p299"));
        EXPECT_EQ(loadedNames(), Texts{});
        ended = true;
    });
    EXPECT_TRUE(ended);
}

}  // namespace
