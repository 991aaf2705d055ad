// Questions about the dependency graph and look-ups, asked of more and more loaded plugins in a ladder of
// diamonds, where the number of paths doubles with each rung. What they cost for one plugin, or one look-up,
// must not depend on the number, but it may grow with memory that leaves the caches: so does the other side,
// which asks tables of its own.

#include <QvPlatform/QvPluginSystem/QvPluginManager.h>

#include "BenchSupport.h"
#include "PluginFolder.h"

#include <functional>
#include <map>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace {

using QvPluginSystem::QvDependency;
using QvPluginSystem::QvPluginInfo;
using QvPluginSystem::QvPluginManager;

// The plugins in order of their dependencies, found by their names as in the descriptors.
class GraphByHand {
public:
    GraphByHand() {
        for (QvPluginInfo* plugin : QvPluginManager::instance()->getPlugins()) {
            byName_[plugin->name].info = plugin;
            paths_.insert(plugin->path);
        }
    }

    std::size_t queueSize() {
        queue_.clear();
        ++walk_;
        for (QvPluginInfo* plugin : QvPluginManager::instance()->getPlugins()) visit(find(plugin->name));
        return queue_.size();
    }
    std::size_t dependencyCount(const std::string& top) {
        queue_.clear();
        ++walk_;
        visit(find(top));
        return queue_.size();
    }
    std::size_t dependentCount(const std::string& bottom) {
        queueSize();
        Node* const target = find(bottom);
        std::size_t count = 0;
        for (Node* node : queue_) {
            node->depends = node == target;
            for (const QvDependency& dependency : node->info->dependencies)
                node->depends = node->depends || find(dependency.name)->depends;
            count += node->depends ? 1 : 0;
        }
        return count;
    }
    bool hasName(const std::string& name) const { return byName_.contains(name); }
    bool hasPath(const std::string& path) const { return paths_.contains(path); }

private:
    struct Node {
        QvPluginInfo* info = nullptr;
        unsigned int walk = 0;
        bool depends = false;
    };

    Node* find(const std::string& name) { return &byName_.find(name)->second; }
    void visit(Node* node) {
        if (node->walk == walk_) return;
        node->walk = walk_;
        for (const QvDependency& dependency : node->info->dependencies) visit(find(dependency.name));
        queue_.push_back(node);
    }

    std::unordered_map<std::string, Node> byName_;
    std::unordered_set<std::string> paths_;
    std::vector<Node*> queue_;
    unsigned int walk_ = 0;
};

using Question = std::function<std::size_t()>;  // returns the number of plugins found

struct Questions {
    Question ours;
    Question byHand;
};

std::map<std::string, Questions> questionsTo(GraphByHand& graph, const bench::PluginFolder& folder,
                                             const std::vector<std::string>& names,
                                             const Qv::QvArray<std::string>& files) {
    auto* manager = QvPluginManager::instance();
    const std::string bottom = folder.name(0);
    const std::string top = folder.name((names.size() - 1) / 3 * 3);
    const auto countOf = [](const auto& texts, auto isKnown) {
        std::size_t count = 0;
        for (const std::string& text : texts) count += isKnown(text) ? 1 : 0;
        return count;
    };
    return {
        {"getQueue", {[=] { return manager->getQueue().size(); }, [&] { return graph.queueSize(); }}},
        {"getDependencyPlugins",
         {[=] { return manager->getDependencyPlugins(manager->getPluginForName(top)).size(); },
          [&graph, top] { return graph.dependencyCount(top); }}},
        {"getProvidedPlugins",
         {[=] { return manager->getProvidedPlugins(manager->getPluginForName(bottom)).size(); },
          [&graph, bottom] { return graph.dependentCount(bottom); }}},
        {"isLoaded",
         {[=, &files] { return countOf(files, [&](auto& file) { return manager->isLoaded(file); }); },
          [=, &files, &graph] { return countOf(files, [&](auto& file) { return graph.hasPath(file); }); }}},
        {"getPluginForName",
         {[=, &names] { return countOf(names, [&](auto& name) { return manager->getPluginForName(name); }); },
          [=, &names, &graph] { return countOf(names, [&](auto& name) { return graph.hasName(name); }); }}},
    };
}

// The least times of one question, each side's in turns; false when they find different plugins.
bool measure(bench::Sides& sides, const Questions& questions) {
    constexpr std::size_t kRepetitions = 20;
    bool isSame = true;
    for (std::size_t i = 0; i < kRepetitions; ++i) {
        std::size_t found = 0;
        std::size_t expected = 0;
        sides.ours.add(bench::timePerCall(1, [&](std::size_t) { found = questions.ours(); }));
        sides.peer.add(bench::timePerCall(1, [&](std::size_t) { expected = questions.byHand(); }));
        isSame = isSame && found == expected;
    }
    return isSame;
}

void benchGraph(benchmark::State& state) {
    bench::silenceLog();
    auto* manager = QvPluginManager::instance();
    const auto count = static_cast<std::size_t>(state.range(0));
    const bench::PluginFolder folder(bench::Layout::LadderOfDiamonds, count);
    const Qv::QvArray<std::string> files = folder.files(0, count);
    std::vector<std::string> names;
    for (std::size_t number = 0; number < count; ++number) names.push_back(folder.name(number));
    manager->load(files);
    GraphByHand graph;
    for ([[maybe_unused]] auto turn : state) {
        for (const auto& [operation, questions] : questionsTo(graph, folder, names, files)) {
            bench::Sides sides;
            const bool isSame = measure(sides, questions);
            if (!isSame || graph.queueSize() != count) return state.SkipWithError("an answer is wrong");
            bench::report(state, {operation + ", by plugins", "tables by hand", count, {}, count}, sides);
        }
    }
    manager->unloadAll();
}
BENCHMARK(benchGraph)->Arg(100)->Arg(500)->Arg(2'000)->Iterations(1);
BENCHMARK(benchGraph)->Name("growth/graph")->Arg(100)->Arg(500)->Arg(2'000)->Arg(10'000)->Iterations(1);

}  // namespace
