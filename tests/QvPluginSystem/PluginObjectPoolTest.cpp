#include "PluginFixture.h"

namespace {

using QvPluginSystem::QvPluginManager;
using QvPluginSystem::QvPluginObject;
using support::Texts;

class PoolListener : public QvPluginSystem::QvPluginManagerListener {
public:
    PoolListener() { QvPluginManager::addListener(this); }
    PoolListener(const PoolListener&) = delete;
    PoolListener& operator=(const PoolListener&) = delete;
    ~PoolListener() override { QvPluginManager::removeListener(this); }

    void onObjectAdded(QvPluginObject* object) override { note("added", object); }
    void onRemoveObject(QvPluginObject* object) override {
        note("removing", object);
        if (removesAgain) QvPluginManager::instance()->removeObject(object);
    }

    Texts calls;
    bool removesAgain = false;

private:
    void note(const std::string& what, QvPluginObject* object) {
        const auto& all = QvPluginManager::instance()->getAllObjects();
        const bool isInPool = std::find(all.begin(), all.end(), object) != all.end();
        calls.push_back(what + (isInPool ? " in pool" : " not in pool"));
    }
};

using PluginObjectPoolTest = support::PluginTest;

TEST_F(PluginObjectPoolTest, addsOnceAndTellsWhileTheObjectIsThere) {
    PoolListener poolListener;
    QvPluginObject object;
    const std::size_t before = manager->getAllObjects().size();
    logCapture.take();
    manager->addObject(nullptr);
    manager->addObject(&object);
    manager->addObject(&object);
    EXPECT_EQ(manager->getAllObjects().size(), before + 1);
    poolListener.removesAgain = true;
    manager->removeObject(nullptr);
    manager->removeObject(&object);
    manager->removeObject(&object);
    EXPECT_EQ(manager->getAllObjects().size(), before);
    EXPECT_EQ(poolListener.calls, (Texts{"added in pool", "removing in pool"}));
    EXPECT_EQ(logCapture.takeTexts(), (Texts{"QvPluginManager::addObject(): trying to add nullptr object\n",
                                             "QvPluginManager::addObject(): trying to add duplicate object\n",
                                             "QvPluginManager::removeObject(): object not in list.\n"}));
}

TEST_F(PluginObjectPoolTest, removalKeepsTheOrderOfTheOthers) {
    QvPluginObject objects[6];
    for (QvPluginObject& object : objects) manager->addObject(&object);
    for (const std::size_t index : {1U, 4U}) manager->removeObject(&objects[index]);
    const auto& all = manager->getAllObjects();
    const std::vector<QvPluginObject*> last(all.end() - 4, all.end());
    EXPECT_EQ(last, (std::vector<QvPluginObject*>{&objects[0], &objects[2], &objects[3], &objects[5]}));
    for (QvPluginObject& object : objects) manager->removeObject(&object);
}

}  // namespace
