// Publishing and withdrawing pool objects, compared with a hand-kept list with an index: the least that keeps
// order and refuses duplicates. The newest object leaves in constant time; the list closes up after the
// oldest.

#include <QvPlatform/QvPluginSystem/QvPluginManager.h>

#include "BenchSupport.h"

#include <string>
#include <unordered_set>
#include <vector>

namespace {

using QvPluginSystem::QvPluginManager;
using QvPluginSystem::QvPluginObject;

constexpr std::size_t kFew = 10'000;
constexpr std::size_t kMany = 100'000;
constexpr std::size_t kOldest = 1'000;
constexpr bench::Target kTarget{.ratio = 2.0};

struct Pool {
    bench::Sides add;
    bench::Sides remove;
    bench::Sides removeOldest;
};

class IndexedList {
public:
    void add(QvPluginObject* object) {
        if (index_.insert(object).second) list_.push_back(object);
    }
    void removeNewest(QvPluginObject* object) {
        if (index_.erase(object) != 0) list_.pop_back();
    }
    void removeOldest(QvPluginObject* object) {
        if (index_.erase(object) != 0) list_.erase(list_.begin());
    }

private:
    std::unordered_set<QvPluginObject*> index_;
    std::vector<QvPluginObject*> list_;
};

// The rest leaves newest first.
void measureOldest(Pool& pool, IndexedList& list, std::vector<QvPluginObject>& objects) {
    auto* manager = QvPluginManager::instance();
    for (QvPluginObject& object : objects) {
        manager->addObject(&object);
        list.add(&object);
    }
    pool.removeOldest.ours.add(
        bench::timePerCall(kOldest, [&](std::size_t i) { manager->removeObject(&objects[i]); }));
    pool.removeOldest.peer.add(
        bench::timePerCall(kOldest, [&](std::size_t i) { list.removeOldest(&objects[i]); }));
    for (std::size_t i = objects.size(); i > kOldest; --i) {
        manager->removeObject(&objects[i - 1]);
        list.removeNewest(&objects[i - 1]);
    }
}

void measureManager(bench::LeastTime& add, bench::LeastTime& remove, std::vector<QvPluginObject>& objects,
                    std::size_t count) {
    auto* manager = QvPluginManager::instance();
    add.add(bench::timePerCall(count, [&](std::size_t i) { manager->addObject(&objects[i]); }));
    remove.add(
        bench::timePerCall(count, [&](std::size_t i) { manager->removeObject(&objects[count - 1 - i]); }));
}

void measureByHand(Pool& pool, IndexedList& list, std::vector<QvPluginObject>& objects) {
    const std::size_t count = objects.size();
    pool.add.peer.add(bench::timePerCall(count, [&](std::size_t i) { list.add(&objects[i]); }));
    pool.remove.peer.add(
        bench::timePerCall(count, [&](std::size_t i) { list.removeNewest(&objects[count - 1 - i]); }));
}

void benchPool(benchmark::State& state) {
    bench::silenceLog();
    std::vector<QvPluginObject> objects(kMany);
    Pool besideFewer;
    Pool besideHand;
    IndexedList list;
    for ([[maybe_unused]] auto turn : state) {
        measureManager(besideFewer.add.peer, besideFewer.remove.peer, objects, kFew);
        measureManager(besideFewer.add.ours, besideFewer.remove.ours, objects, kMany);
        measureByHand(besideHand, list, objects);
        measureOldest(besideHand, list, objects);
    }
    besideHand.add.ours = besideFewer.add.ours;
    besideHand.remove.ours = besideFewer.remove.ours;
    bench::report(state, {"addObject", "of 10,000", kMany, kTarget}, besideFewer.add);
    bench::report(state, {"addObject", "list and index", kMany, {}}, besideHand.add);
    bench::report(state, {"removeObject, the last", "of 10,000", kMany, kTarget}, besideFewer.remove);
    bench::report(state, {"removeObject, the last", "list and index", kMany, {}}, besideHand.remove);
    bench::report(state, {"removeObject, the oldest", "list and index", kMany, {.ratio = 1.2}},
                  besideHand.removeOldest);
}
BENCHMARK(benchPool)->Iterations(20);

}  // namespace
