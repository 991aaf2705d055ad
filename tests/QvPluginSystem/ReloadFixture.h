#pragma once

#include <QvPlatform/QvPluginSystem/QvPluginReloader.h>

#include "PluginFixture.h"
#include "support/Platform.h"

#include <cstdio>
#include <map>
#include <string>

namespace support {

/// Plugins whose files hold their own scripts, so that each version keeps its own.
class ReloadTest : public PluginTest {
protected:
    ~ReloadTest() override {
        for (QvPluginSystem::QvPluginObject* object : Objects(manager->getAllObjects()))
            manager->removeObject(object);
        manager->reset();
    }

    using Objects = Qv::QvArray<QvPluginSystem::QvPluginObject*>;
    using Outcome = QvPluginSystem::QvReloadResult::Outcome;
    using Action = QvPluginSystem::QvReloadStep::Action;

    /// Creates or replaces a plugin file by another version, by renaming. Returns its path.
    std::string put(const std::string& name, const Texts& lines = {}) {
        writeFile(path(name + ".new"), content(name, lines));
        const auto file = pathOf(path(name + ".qvp"));
        // Windows does not replace a file that is mapped, but renames it.
        if (kWindows && exists(file)) rename(file, pathOf(path(name + ".old" + std::to_string(serial_))));
        rename(pathOf(path(name + ".new")), file);
        return path(name + ".qvp");
    }

    /// The bytes of such a file. No two calls return the same.
    std::string content(const std::string& name, const Texts& lines) {
        std::string script;
        for (const std::string& line : lines) script += line + "\n";
        script += "name " + name + "\nserial " + std::to_string(++serial_) + "\n";
        char size[16];
        std::snprintf(size, sizeof size, "%08u", static_cast<unsigned>(script.size()));
        return library_ + script + size + "QVSCRIPT";
    }

    /// Name, use count, and whether it is loaded by request, in the manager's order.
    Texts standing() const {
        Texts texts;
        for (const auto* info : manager->getPlugins())
            texts.push_back(info->name + ' ' + std::to_string(info->getUseCount()) +
                            (info->explicitlyLoaded ? " requested" : ""));
        return texts;
    }

    /// The names of hidden copies in the folder.
    Texts copies() const {
        Texts names;
        for (const auto& entry : std::filesystem::directory_iterator(pathOf(folder.path()))) {
            const std::string name = textOf(entry.path().filename());
            if (name.front() == '.') names.push_back(name);
        }
        return names;
    }

    /// "action plugin" of each step, with "!" if it failed.
    static Texts stepsOf(const QvPluginSystem::QvReloadResult& result) {
        static const char* const names[] = {"check", "save", "unload", "load", "restore"};
        Texts texts;
        for (const auto& step : result.steps)
            texts.push_back(names[static_cast<int>(step.action)] + (' ' + step.plugin) +
                            (step.succeeded ? "" : "!"));
        return texts;
    }

    /// The messages of all steps of this kind.
    static std::string messagesOf(const QvPluginSystem::QvReloadResult& result, Action action) {
        std::string text;
        for (const auto& step : result.steps) {
            if (step.action == action) text += step.message;
        }
        return text;
    }

private:
    std::string library_ = readFile(builtLibrary("scripted.qvp"));
    int serial_ = 0;
};

}  // namespace support
