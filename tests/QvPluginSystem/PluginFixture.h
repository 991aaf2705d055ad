#pragma once

#include <QvPlatform/QvPluginSystem/QvPluginManager.h>
#include <QvPlatform/filesystem/Directory.h>

#include "plugins/CallLog.h"
#include "support/LogCapture.h"
#include "support/Platform.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace support {

using Texts = std::vector<std::string>;

/// The libraries that the build creates for the tests.
inline std::string builtLibrary(const std::string& fileName) {
    using QvPlatform::Directory;
    return Directory(Directory::kExecutableDirectory)
        .directory("test-plugins")
        .file(fileName)
        .toUniversalPath();
}

/// Records the calls of the manager, one line per call.
class RecordingListener : public QvPluginSystem::QvPluginManagerListener {
public:
    explicit RecordingListener(Texts& calls) : calls_(calls) {
        QvPluginSystem::QvPluginManager::addListener(this);
    }
    RecordingListener(const RecordingListener&) = delete;
    RecordingListener& operator=(const RecordingListener&) = delete;
    ~RecordingListener() override { QvPluginSystem::QvPluginManager::removeListener(this); }

    void onPluginError(const std::string& file, const QvPluginSystem::QvPluginInfo* info,
                       const std::string& error) override {
        const std::string fileName = file.substr(file.rfind('/') + 1);
        calls_.push_back("error " + fileName + " (" + (info ? info->name : "no descriptor") + "): " + error);
    }
    bool onAboutToInitialize(const QvPluginSystem::QvPluginInfo& info) override {
        calls_.push_back("ask initialize " + info.name);
        return info.name != vetoed;
    }
    bool onAboutToUninitialize(const QvPluginSystem::QvPluginInfo& info) override {
        calls_.push_back("ask uninitialize " + info.name);
        return info.name != vetoed;
    }
    void onPluginsChanged() override { calls_.push_back("changed"); }

    std::string vetoed = "-";

private:
    Texts& calls_;
};

/// A manager without plugins, a folder for plugins, and a list of all calls.
class PluginTest : public testing::Test {
protected:
    PluginTest() { manager->addObject(&log_); }

    ~PluginTest() override {
        manager->reset();
        manager->removeObject(&log_);
    }

    /// Creates the plugin file `name` in the folder, which does what the lines say. The plugin has the same
    /// name unless a line sets another one. Returns its path.
    std::string add(const std::string& name, const Texts& lines = {}) const {
        std::string script;
        for (const std::string& line : lines) script += line + "\n";
        writeFile(path(name + ".txt"), script + "name " + name + "\n");
        return addCopy("scripted.qvp", name + ".qvp");
    }

    /// Copies a library that the build created. Returns the path of the copy.
    std::string addCopy(const std::string& builtName, const std::string& name) const {
        std::filesystem::copy_file(pathOf(builtLibrary(builtName)), pathOf(path(name)));
        return path(name);
    }

    std::string path(const std::string& name) const { return folder.path() + name; }

    /// Adds the folder to the search directories.
    void search() const { manager->addPluginSearchDir(folder.path()); }

    /// Returns and clears the recorded calls of plugins and listeners.
    Texts takeCalls() { return std::exchange(log_.calls, {}); }

    Texts loadedNames() const { return namesOf(manager->getPlugins()); }

    static Texts namesOf(const Qv::QvArray<QvPluginSystem::QvPluginInfo*>& infos) {
        Texts names;
        for (const auto* info : infos) names.push_back(info->name);
        return names;
    }

    /// On Linux in a separate process: after a static initializer threw, no other thread can use the loader.
    static void runApart(const std::function<void()>& test) {
        if (kWindows) return test();
        const auto runAndLeave = [&] {
            test();
            std::fflush(nullptr);
            std::_Exit(HasFailure() ? 1 : 0);
        };
        EXPECT_EXIT(runAndLeave(), testing::ExitedWithCode(0), "");
    }

    QvPluginSystem::QvPluginManager* manager = QvPluginSystem::QvPluginManager::instance();
    TemporaryFolder folder;
    LogCapture logCapture;

private:
    CallLog log_;

protected:
    RecordingListener listener{log_.calls};
};

}  // namespace support
