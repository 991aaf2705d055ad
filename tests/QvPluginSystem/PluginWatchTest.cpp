// Watching with real plugins: what `poll` does when files change. Each test polls until something happens,
// with a deadline of many seconds.

#include "ReloadFixture.h"

#include <algorithm>
#include <chrono>
#include <thread>

using namespace support;
using QvPluginSystem::QvPluginReloader;
using QvPluginSystem::QvReloadResult;

namespace {

constexpr std::chrono::seconds kPatience{30};

class PluginWatchTest : public ReloadTest {
protected:
    Qv::QvArray<QvReloadResult> pollFor(std::chrono::milliseconds time) {
        const auto deadline = std::chrono::steady_clock::now() + time;
        Qv::QvArray<QvReloadResult> results;
        while (results.empty() && std::chrono::steady_clock::now() < deadline) {
            results = reloader.poll();
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return results;
    }

    /// The first results that come.
    Qv::QvArray<QvReloadResult> poll() { return pollFor(kPatience); }

    /// The same, if it is one.
    QvReloadResult pollOne() {
        const auto results = poll();
        EXPECT_EQ(results.size(), 1U);
        return results.empty() ? QvReloadResult() : results.front();
    }

    /// Whether nothing comes for longer than a file must be quiet.
    bool staysQuiet() { return pollFor(std::chrono::milliseconds(800)).empty(); }

    QvPluginReloader reloader;
};

Texts sorted(const Qv::QvArray<std::string>& names) {
    Texts list(names.begin(), names.end());
    std::sort(list.begin(), list.end());
    return list;
}

class Refuser : public QvPluginSystem::QvPluginManagerListener {
public:
    Refuser() { QvPluginSystem::QvPluginManager::addListener(this); }
    Refuser(const Refuser&) = delete;
    Refuser& operator=(const Refuser&) = delete;
    ~Refuser() override { QvPluginSystem::QvPluginManager::removeListener(this); }
    bool onAboutToInitialize(const QvPluginSystem::QvPluginInfo& info) override {
        return info.name != refused;
    }
    std::string refused = "b";
};

}  // namespace

TEST_F(PluginWatchTest, reloadsAPluginWhoseFileChanges) {
    manager->load(put("a"));
    ASSERT_TRUE(reloader.watch());
    EXPECT_TRUE(staysQuiet());
    takeCalls();
    put("a");
    const QvReloadResult result = pollOne();
    EXPECT_EQ(result.outcome, Outcome::reloaded) << result.text();
    EXPECT_EQ(sorted(result.plugins), Texts{"a"});
    EXPECT_EQ(loadedNames(), Texts{"a"});
    EXPECT_TRUE(staysQuiet());
}

TEST_F(PluginWatchTest, overwritingTheLoadedFileIsHarmless) {
    manager->load(put("a"));
    ASSERT_TRUE(reloader.watch());
    const std::string next = content("a", {});
    for (std::size_t part = 0; part < 5; ++part)
        writeFile(path("a.qvp"), next.substr(0, next.size() / 5 * part));
    EXPECT_TRUE(staysQuiet());
    EXPECT_TRUE(manager->isLoaded(path("a.qvp")));
    writeFile(path("a.qvp"), next);
    EXPECT_EQ(pollOne().outcome, Outcome::reloaded);
    EXPECT_EQ(manager->unload("a"), true);
}

TEST_F(PluginWatchTest, aChangeBeforeTheWatchIsSeen) {
    manager->load(put("a"));
    put("a", {"displayName longer"});  // the times may be equal
    ASSERT_TRUE(reloader.watch());
    EXPECT_EQ(pollOne().outcome, Outcome::reloaded);
}

TEST_F(PluginWatchTest, theSameContentIsNoNews) {
    manager->load(put("a"));
    ASSERT_TRUE(reloader.watch());
    writeFile(path("a.qvp"), readFile(path("a.qvp")));
    EXPECT_TRUE(staysQuiet());
}

TEST_F(PluginWatchTest, aFailedVersionIsNotTriedAgain) {
    manager->load(put("a"));
    ASSERT_TRUE(reloader.watch());
    writeFile(path("a.qvp"), "no library");
    const QvReloadResult refused = pollOne();
    EXPECT_EQ(refused.outcome, Outcome::refused);
    EXPECT_NE(refused.reason, "");
    EXPECT_TRUE(manager->isLoaded(path("a.qvp")));
    EXPECT_TRUE(staysQuiet());
    writeFile(path("a.qvp"), content("a", {}));
    EXPECT_EQ(pollOne().outcome, Outcome::reloaded);
}

TEST_F(PluginWatchTest, pluginsWithACommonDependentAreReloadedTogether) {
    search();
    put("a");
    put("b");
    put("other");
    manager->load(put("c", {"needs a 0", "needs b 0"}));
    manager->load(path("other.qvp"));
    ASSERT_TRUE(reloader.watch());
    put("a");
    put("b");
    put("other");
    put("c", {"needs a 0", "needs b 0"});
    const auto results = poll();
    ASSERT_EQ(results.size(), 2U);
    const std::size_t large = results[0].plugins.size() == 3 ? 0 : 1;
    EXPECT_EQ(sorted(results[large].plugins), (Texts{"a", "b", "c"}));
    EXPECT_EQ(results[large].outcome, Outcome::reloaded) << results[large].text();
    EXPECT_EQ(sorted(results[1 - large].plugins), Texts{"other"});
    EXPECT_EQ(manager->getPlugins().size(), 4U);
}

TEST_F(PluginWatchTest, whatFailedTogetherIsTriedAgainTogether) {
    search();
    put("a");
    manager->load(put("b", {"needs a 0"}));
    ASSERT_TRUE(reloader.watch());
    put("a");
    put("b", {"needs a 0", "initialize false"});
    const QvReloadResult failed = pollOne();
    EXPECT_EQ(failed.outcome, Outcome::rolledBack) << failed.text();
    EXPECT_EQ(sorted(failed.plugins), (Texts{"a", "b"}));
    EXPECT_TRUE(staysQuiet());
    put("b", {"needs a 0"});
    const QvReloadResult result = pollOne();
    EXPECT_EQ(result.outcome, Outcome::reloaded) << result.text();
    EXPECT_EQ(sorted(result.plugins), (Texts{"a", "b"}));
}

TEST_F(PluginWatchTest, followsAHostThatLoadsAndUnloadsByItself) {
    ASSERT_TRUE(reloader.watch());
    for (const char* name : {"a", "b"}) {
        manager->load(put(name));
        EXPECT_TRUE(staysQuiet());
        put(name);
        EXPECT_EQ(pollOne().outcome, Outcome::reloaded);
    }
    manager->unload("a");
    put("a");
    EXPECT_TRUE(staysQuiet());
    EXPECT_EQ(loadedNames(), Texts{"b"});
    manager->load(path("a.qvp"));
    EXPECT_TRUE(staysQuiet());
    put("a");
    EXPECT_EQ(sorted(pollOne().plugins), Texts{"a"});
}

TEST_F(PluginWatchTest, aRemovedFileLeavesItsPluginLoaded) {
    manager->load(put("a"));
    ASSERT_TRUE(reloader.watch());
    const std::string next = content("a", {});
    std::filesystem::remove(pathOf(path("a.qvp")));
    EXPECT_TRUE(staysQuiet());
    EXPECT_EQ(loadedNames(), Texts{"a"});
    writeFile(path("a.qvp"), next);
    EXPECT_EQ(pollOne().outcome, Outcome::reloaded);
}

TEST_F(PluginWatchTest, newFilesAreLoadedOnRequest) {
    search();
    put("old");
    ASSERT_TRUE(reloader.watch());
    put("a");
    EXPECT_TRUE(staysQuiet());
    ASSERT_TRUE(reloader.watch(QvPluginReloader::NewFiles::load));
    put("b");
    QvReloadResult result = pollOne();
    EXPECT_EQ(result.outcome, Outcome::loaded);
    EXPECT_EQ(sorted(result.plugins), Texts{"b"});
    EXPECT_EQ(loadedNames(), Texts{"b"});
    put("c", {"initialize false"});
    result = pollOne();
    EXPECT_EQ(result.outcome, Outcome::refused);
    EXPECT_NE(result.reason.find("initialize said no"), std::string::npos) << result.text();
    EXPECT_TRUE(staysQuiet());
}

TEST_F(PluginWatchTest, pollFromAListenerKeepsTheChanges) {
    class Poller : public QvPluginSystem::QvPluginManagerListener {
    public:
        explicit Poller(QvPluginReloader& polled) : reloader_(polled) {
            QvPluginSystem::QvPluginManager::addListener(this);
        }
        Poller(const Poller&) = delete;
        Poller& operator=(const Poller&) = delete;
        ~Poller() override { QvPluginSystem::QvPluginManager::removeListener(this); }
        void onPluginsChanged() override {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            resultsInside += reloader_.poll().size();
        }
        std::size_t resultsInside = 0;

    private:
        QvPluginReloader& reloader_;
    };
    manager->load(put("a"));
    ASSERT_TRUE(reloader.watch());
    EXPECT_TRUE(staysQuiet());
    put("a");
    Poller poller(reloader);
    for (const char* name : {"b", "c"}) manager->load(put(name));
    EXPECT_EQ(poller.resultsInside, 0U);
    EXPECT_EQ(sorted(pollOne().plugins), Texts{"a"});
}

TEST_F(PluginWatchTest, nothingHappensBeforeTheWatch) {
    manager->load(put("a"));
    put("a");
    EXPECT_TRUE(staysQuiet());
}

TEST_F(PluginWatchTest, aSecondCallOfWatchChangesNothing) {
    manager->load(put("a"));
    ASSERT_TRUE(reloader.watch());
    ASSERT_TRUE(reloader.watch());
    put("a");
    EXPECT_EQ(pollOne().outcome, Outcome::reloaded);
    EXPECT_TRUE(staysQuiet());
}

TEST_F(PluginWatchTest, anotherThreadIsRefused) {
    manager->load(put("a"));
    ASSERT_TRUE(reloader.watch());
    std::thread([this] {
        std::string error;
        EXPECT_FALSE(reloader.watch(QvPluginReloader::NewFiles::load, &error));
        EXPECT_NE(error, "");
        EXPECT_EQ(pollOne().outcome, Outcome::refused);
    }).join();
    EXPECT_TRUE(staysQuiet());
}

TEST_F(PluginWatchTest, aSecondReloaderDoesNotWatch) {
    QvPluginReloader second;
    std::string error;
    EXPECT_FALSE(second.watch(QvPluginReloader::NewFiles::ignore, &error));
    EXPECT_EQ(error, "there is another reloader");
    EXPECT_TRUE(second.poll().empty());
}

TEST_F(PluginWatchTest, lostPluginsComeBackWithTheNextVersion) {
    search();
    put("a");
    put("b", {"needs a 0"});
    manager->load(put("c", {"needs b 0"}));
    ASSERT_TRUE(reloader.watch());
    Refuser refuser;
    put("a");
    const QvReloadResult result = pollOne();
    EXPECT_EQ(result.outcome, Outcome::lost) << result.text();
    EXPECT_EQ(sorted(result.lost), (Texts{"b", "c"}));
    put("b", {"needs a 0"});
    auto results = poll();
    ASSERT_EQ(results.size(), 2U);
    EXPECT_EQ(results[0].outcome, Outcome::refused);
    EXPECT_EQ(results[0].reason, "b: a listener refuses to let it be initialized");
    refuser.refused.clear();
    put("b", {"needs a 0"});
    results = poll();
    ASSERT_EQ(results.size(), 2U);
    EXPECT_EQ(results[0].outcome, Outcome::loaded) << results[0].text();
    EXPECT_EQ(loadedNames(), (Texts{"a", "b", "c"}));
    manager->unload("c");
    put("c", {"needs b 0"});
    EXPECT_TRUE(staysQuiet());
}

TEST_F(PluginWatchTest, whatTheHostLoadedAgainIsNotLost) {
    search();
    put("a");
    manager->load(put("b", {"needs a 0"}));
    ASSERT_TRUE(reloader.watch());
    {
        Refuser refuser;
        put("a");
        EXPECT_EQ(pollOne().outcome, Outcome::lost);
    }
    manager->load(path("b.qvp"));
    EXPECT_TRUE(staysQuiet());
    manager->unload("b");
    put("b", {"needs a 0"});
    EXPECT_TRUE(staysQuiet());
}
