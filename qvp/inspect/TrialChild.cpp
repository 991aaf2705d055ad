#include "child/Child.h"
#include "child/CrashHandler.h"
#include "child/Footprint.h"
#include "inspect/ChildSupport.h"
#include "inspect/InspectReport.h"

#include <QvPlatform/QvPluginSystem/LoadSharedLibrary.h>
#include <QvPlatform/QvPluginSystem/QvPluginManager.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

namespace qvp {
namespace {

using QvPluginSystem::QvPluginInfo;
using QvPluginSystem::QvPluginManager;
using QvPluginSystem::QvPluginObject;

class Observer : public QvPluginSystem::QvPluginManagerListener {
public:
    void onPluginError(const std::string& file, const QvPluginInfo* info, const std::string& error) override {
        writeReport({{"file", file}, {"plugin", info ? info->name : std::string()}, {"failure", error}});
    }
};

void beginPhase(const char* phase) { writeReport({{"begin", phase}}); }

template <typename Function>
void timed(const char* phase, Function function) {
    beginPhase(phase);
    const auto start = std::chrono::steady_clock::now();
    if (!function()) return;
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    writeReport({{"phase", phase}, {"seconds", time.count()}});
}

// Keeps the class names, because an object left in the pool may be destroyed before the last look.
class Pool {
public:
    explicit Pool(const QvPluginManager& manager) : manager_(manager) {}

    std::vector<std::string> look() {
        std::vector<std::string> names;
        for (const QvPluginObject* object : manager_.getAllObjects()) {
            const auto known = names_.find(object);
            if (known == names_.end())
                names.push_back(names_.emplace(object, classNameOf(typeid(*object))).first->second);
            else
                names.push_back(known->second);
        }
        return names;
    }

private:
    const QvPluginManager& manager_;
    std::map<const QvPluginObject*, std::string> names_;
};

// Opens the file itself too, in addition to the manager, to measure the time of opening and closing.
class Attempt {
public:
    Attempt(std::string file, QvPluginManager& manager) : file_(std::move(file)), manager_(manager) {}

    /// False if another round would not tell anything.
    bool run() {
        const Footprint before = takeFootprint();
        timed("load", [this] { return open(); });
        timed("initialize", [this] {
            manager_.load(file_);
            return manager_.isLoaded(file_);
        });
        reportPlugins();
        const bool wasInitialized = manager_.isLoaded(file_);
        if (manager_.isLoaded(file_))
            timed("uninitialize", [this] { return uninitialize(); });
        else
            unloadDependencies();
        writeReport({{"left", pool_.look()}});
        // Threads are looked at while the code that they run is still there.
        const bool hasLeftThreads = reportLeftovers(leftoverThreads(before));
        timed("close", [this] { return close(); });
        beginPhase("");
        const bool isUnmapped = !isMapped(file_);
        writeReport({{"unmapped", isUnmapped}});
        reportLeftovers(leftoversSince(before, isUnmapped));
        return wasInitialized && !hasLeftThreads;
    }

private:
    bool open() {
        library_ = std::make_unique<QvPluginSystem::LoadSharedLibrary>(file_);
        return library_->handle != nullptr;
    }

    bool close() {
        const bool wasOpen = library_->handle != nullptr;
        library_.reset();
        return wasOpen;
    }

    void unloadDependencies() {
        beginPhase("dependencies");
        manager_.unloadAll();
    }

    static bool reportLeftovers(const std::vector<Leftover>& leftovers) {
        for (const Leftover& leftover : leftovers)
            writeReport({{"leftover", leftover.kind}, {"text", bounded(leftover.text)}});
        return !leftovers.empty();
    }

    void reportPlugins() {
        std::vector<std::string> order;
        for (const QvPluginInfo* plugin : manager_.getPlugins()) order.push_back(plugin->name);
        writeReport(
            {{"initialized", manager_.isLoaded(file_)}, {"order", order}, {"published", pool_.look()}});
    }

    bool uninitialize() {
        const std::string name = manager_.getPluginForPath(file_)->name;
        manager_.unload(name);
        if (manager_.isLoaded(file_)) return false;
        writeReport({{"uninitialized", true}});
        unloadDependencies();
        return true;
    }

    std::string file_;
    QvPluginManager& manager_;
    Pool pool_{manager_};
    std::unique_ptr<QvPluginSystem::LoadSharedLibrary> library_;
};

void setDirectories(QvPluginManager& manager, const std::vector<std::string>& directories) {
    // The manager removes only directories that were added, so the default one is added first.
    const std::string standard = manager.getPluginSearchDirs().front();
    manager.addPluginSearchDir(standard);
    manager.removePluginSearchDir(standard);
    for (const std::string& directory : directories) {
        if (!directory.empty()) manager.addPluginSearchDir(directory);
    }
}

// The library that resolves names adds lines about what it did not find.
void reportStack(const std::string& callStack) {
    std::istringstream lines(callStack);
    std::string stack;
    for (std::string line; std::getline(lines, line);)
        if (!line.starts_with("ERROR: ")) stack += line + "\n";
    writeReport({{"stack", bounded(stack)}});
}

void tryRounds(const TrialRequest& request, QvPluginManager& manager) {
    for (unsigned round = 1; round <= request.rounds; ++round) {
        writeReport({{"round", round}});
        for (const std::string& file : request.before) manager.load(file);
        if (!Attempt(request.file, manager).run()) return;
    }
}

}  // namespace

void tryInChild(const TrialRequest& request) {
    silenceLog();
    reportCrashes(reportStack);
    QvPluginManager& manager = *QvPluginManager::instance();
    setDirectories(manager, request.directories);
    static Observer observer;
    QvPluginManager::addListener(&observer);
    try {
        tryRounds(request, manager);
    } catch (...) {
        writeReport({{"file", request.file}, {"plugin", ""}, {"failure", "threw " + currentExceptionText()}});
        endChild(1);
    }
    // As a host does it: what the plugin registered for the end runs too.
    writeReport({{"phase", kPhaseOfEnd}, {"seconds", 0}});
    std::exit(0);
}

}  // namespace qvp
