#include "PluginFixture.h"

#include <QvPlatform/diagnostics/Log.h>

#include <gtest/gtest.h>

#include <memory>

namespace {

using QvPluginSystem::QvPluginManager;
using QvPluginSystem::QvPluginManagerListener;
using support::Texts;

class Named : public QvPluginManagerListener {
public:
    Named(std::string name, Texts& calls) : name_(std::move(name)), calls_(calls) {}
    void onPluginsChanged() override {
        calls_.push_back(name_);
        if (atChange) atChange();
    }
    std::function<void()> atChange;

private:
    std::string name_;
    Texts& calls_;
};

TEST(PluginListenerWithoutManagerTest, removingMakesNoManager) {
    // Only a separate process has no manager yet; a manager would print a message at the end.
    const auto removeAndLeave = [] {
        Texts calls;
        Named listener("l", calls);
        QvPluginManager::removeListener(&listener);
        QvPluginManager::reset();
        Qv::LogSetLevel(Qv::kLogLevelDebug);
        std::exit(0);
    };
    EXPECT_EXIT(removeAndLeave(), testing::ExitedWithCode(0), "^$");
}

TEST(PluginListenerWithoutManagerTest, objectsLeftAtTheEndAreCounted) {
    const auto leaveObjects = [] {
        static QvPluginSystem::QvPluginObject objects[3];
        for (auto& object : objects) QvPluginManager::instance()->addObject(&object);
        std::exit(0);
    };
    EXPECT_EXIT(leaveObjects(), testing::ExitedWithCode(0),
                "DEBUG: There are 3 objects left in the plugin manager's object pool.");
}

TEST(PluginListenerWithoutManagerTest, afterTheManagersEndObjectsMayBeRemoved) {
    struct Late {
        ~Late() { manager->removeObject(&object); }
        QvPluginManager* manager = nullptr;
        QvPluginSystem::QvPluginObject object;
    };
    const auto leaveLate = [] {
        static Late late;  // created before the manager, so it is destroyed after it
        late.manager = QvPluginManager::instance();
        late.manager->addObject(&late.object);
        std::exit(0);
    };
    EXPECT_EXIT(leaveLate(), testing::ExitedWithCode(0), "");
}

using PluginListenerTest = support::PluginTest;

TEST_F(PluginListenerTest, aSecondManagerFailsAnAssertion) {
    class Second : public QvPluginManager {};
    Qv::LogSetLevel(Qv::kLogLevelNone);
    logCapture.take();
    { const Second second; }
    const auto messages = logCapture.take();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].level, Qv::kLogLevelError);
    EXPECT_EQ(messages[0].text.rfind("QvPluginManager: ", 0), 0U) << messages[0].text;
    EXPECT_NE(messages[0].text.find(": Only one instance of the QvPluginManager class must exist."),
              std::string::npos);
    Qv::LogSetLevel(Qv::kLogLevelDebug);
    // The existing manager is still available without creating a new one.
    manager->addPluginSearchDir("somewhere");
    QvPluginManager::reset();
    EXPECT_EQ(manager->getPluginSearchDirs().size(), 1U);
}

TEST_F(PluginListenerTest, registrationAndChangesDuringANotice) {
    Texts calls;
    Named first("first", calls);
    Named second("second", calls);
    Named late("late", calls);
    for (QvPluginManagerListener* listenerToAdd :
         {static_cast<QvPluginManagerListener*>(&first), static_cast<QvPluginManagerListener*>(&first),
          static_cast<QvPluginManagerListener*>(nullptr), static_cast<QvPluginManagerListener*>(&second)})
        QvPluginManager::addListener(listenerToAdd);
    first.atChange = [&] { QvPluginManager::addListener(&late); };
    const std::string a = add("a");
    manager->load(a);
    EXPECT_EQ(calls, (Texts{"first", "second", "late"}));  // those added meanwhile are notified too

    calls.clear();
    first.atChange = [&] { QvPluginManager::removeListener(&first); };
    manager->load(a);
    EXPECT_EQ(calls, (Texts{"first", "late"}));  // removing one makes the notification skip the next

    calls.clear();
    QvPluginManager::removeListener(&second);
    QvPluginManager::removeListener(&first);
    QvPluginManager::removeListener(&late);
    manager->load(a);
    EXPECT_EQ(calls, Texts{});
}

}  // namespace
