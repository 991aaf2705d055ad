#include "child/Child.h"
#include "child/CrashHandler.h"
#include "inspect/ChildSupport.h"
#include "inspect/InspectReport.h"

#include <QvPlatform/QvPluginSystem/LoadSharedLibrary.h>
#include <QvPlatform/QvPluginSystem/QvPluginManager.h>

#include <chrono>
#include <map>
#include <memory>
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

template <typename Function>
void timed(const char* phase, Function function) {
    writeReport({{"begin", phase}});
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

    void run() {
        timed("load", [this] { return open(); });
        timed("initialize", [this] {
            manager_.load(file_);
            return manager_.isLoaded(file_);
        });
        reportPlugins();
        if (manager_.isLoaded(file_))
            timed("uninitialize", [this] { return uninitialize(); });
        else
            manager_.unloadAll();  // dependencies
        writeReport({{"left", pool_.look()}});
        timed("close", [this] { return close(); });
        writeReport({{"unmapped", !isMapped(file_)}});
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
        return true;
    }

    std::string file_;
    QvPluginManager& manager_;
    Pool pool_{manager_};
    std::unique_ptr<QvPluginSystem::LoadSharedLibrary> library_;
};

void setDirectories(QvPluginManager& manager, bool withDefault, const std::vector<std::string>& directories) {
    // The manager removes only directories that were added, so the default one is added first.
    const std::string standard = manager.getPluginSearchDirs().front();
    manager.addPluginSearchDir(standard);
    if (!withDefault) manager.removePluginSearchDir(standard);
    for (const std::string& directory : directories) {
        if (!directory.empty()) manager.addPluginSearchDir(directory);
    }
}

void reportStack(const std::string& callStack) { writeReport({{"stack", callStack}}); }

}  // namespace

void tryInChild(const std::vector<std::string>& arguments) {
    silenceLog();
    reportCrashes(reportStack);
    const std::string& file = arguments.at(1);
    QvPluginManager& manager = *QvPluginManager::instance();
    setDirectories(manager, arguments.front() == kWithDefaultDirectory,
                   {arguments.begin() + 2, arguments.end()});
    Observer observer;
    QvPluginManager::addListener(&observer);
    try {
        Attempt(file, manager).run();
    } catch (...) {
        writeReport({{"file", file}, {"plugin", ""}, {"failure", "threw " + currentExceptionText()}});
        endChild(1);
    }
    endChild(0);
}

}  // namespace qvp
