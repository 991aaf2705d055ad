#include "QvPluginSystem/rules/BuildInfo.h"
#include "QvPluginSystem/rules/PluginRules.h"
#include "child/Child.h"
#include "child/Footprint.h"
#include "inspect/ChildSupport.h"
#include "inspect/InspectReport.h"
#include "inspect/Steps.h"

#include <QvPlatform/QvPluginSystem/LoadSharedLibrary.h>
#include <QvPlatform/QvPluginSystem/QvPlugin.h>
#include <QvPlatform/QvPluginSystem/QvPluginFuncInterface.h>
#include <QvPlatform/QvPluginSystem/QvPluginInfo.h>
#include <QvPlatform/QvPluginSystem/QvPluginManager.h>

#include <memory>
#include <optional>
#include <string_view>
#include <utility>

namespace qvp {
namespace {

namespace rules = QvPluginSystem::rules;

using QvPluginSystem::QvPluginFuncInterface;
using QvPluginSystem::QvPluginInfo;
using QvPluginSystem::QvPluginManager;

// Takes the manager's report about a file that it cannot load, and keeps it from initializing any.
class Rehearsal : public QvPluginSystem::QvPluginManagerListener {
public:
    void onPluginError(const std::string& /*file*/, const QvPluginInfo* /*info*/,
                       const std::string& error) override {
        writeReport({{"line", bounded(error)}});
    }
    bool onAboutToInitialize(const QvPluginInfo& /*info*/) override { return false; }
};

std::string inspectedFile;
bool isFirstFile = true;

// To report the failure once more, the manager runs the plugin's code again. That of a later file does not
// count.
[[noreturn]] void endWith(StepName step, const std::string& text, Misdeed misdeed = Misdeed::none) {
    reportFailure(step, text, misdeed);
    if (isFirstFile) {
        Rehearsal rehearsal;
        QvPluginManager::addListener(&rehearsal);
        QvPluginManager::instance()->load(inspectedFile);
    }
    endChild(1);
}

// Calls into the plugin; an exception is reported and ends the process.
template <typename Function>
auto guarded(Call call, StepName step, const char* where, Function function) {
    reportBegin(call);
    try {
        return function();
    } catch (...) {
        endWith(step, "threw " + currentExceptionText() + " " + where, Misdeed::threw);
    }
}

using Library = std::unique_ptr<QvPluginSystem::LoadSharedLibrary>;

Library open(const std::string& file) {
    return guarded(Call::open, StepName::opened, "while it was opened", [&] {
        auto library = std::make_unique<QvPluginSystem::LoadSharedLibrary>(file);
        if (library->handle) return library;
        const std::string reason = QvPluginSystem::getLastError();
        const std::string text = reason.substr(0, reason.find_last_not_of("\r\n ") + 1);
        endWith(StepName::opened, text.empty() ? "the loader refused it without a reason" : text);
    });
}

struct EntryPoints {
    explicit EntryPoints(void* handle)
        : getInfo(find<QvPluginFuncInterface::GetPluginInfoFunc>(handle, kEntryPoints[0])),
          initialize(find<QvPluginFuncInterface::InitializeFunc>(handle, kEntryPoints[1])),
          uninitialize(find<QvPluginFuncInterface::UninitializeFunc>(handle, kEntryPoints[2])),
          getBuildInfo(find<QvPluginFuncInterface::GetBuildInfoFunc>(handle, kEntryPoints[3])) {}

    std::vector<std::string> found;
    std::vector<std::string> missing;
    QvPluginFuncInterface::GetPluginInfoFunc getInfo;
    QvPluginFuncInterface::InitializeFunc initialize;
    QvPluginFuncInterface::UninitializeFunc uninitialize;
    QvPluginFuncInterface::GetBuildInfoFunc getBuildInfo;

private:
    template <typename Function>
    Function find(void* handle, const char* name) {
        void* const address = QvPluginSystem::getSymbolAddress(handle, name);
        (address ? found : missing).emplace_back(name);
        return reinterpret_cast<Function>(address);
    }
};

EntryPoints findEntryPoints(void* handle) {
    EntryPoints entryPoints(handle);
    writeReport({{"entryPointsFound", entryPoints.found}, {"entryPointsMissing", entryPoints.missing}});
    if (entryPoints.missing.empty()) return entryPoints;
    endWith(StepName::entryPoints, missingEntryPointsText(entryPoints.missing));
}

// The plugin's answers, so that they can be checked without calling it again.
std::string saidBuildInfo;
std::optional<QvPluginInfo> saidInfo;

const char* sayBuildInfo() { return saidBuildInfo.c_str(); }

bool sayInfo(QvPluginInfo& info) {
    info = *saidInfo;
    return true;
}

std::string buildProblem(const EntryPoints& entryPoints) {
    std::string problem;
    const QvPluginFuncInterface said(nullptr, sayInfo, entryPoints.initialize, entryPoints.uninitialize,
                                     sayBuildInfo);
    said.isValid(&problem);
    return problem;
}

// The values that decide, on one side.
std::string sideText(const char* side, std::string_view build) {
    std::string text = side;
    const rules::BuildPairs pairs = rules::readBuildPairs(build);
    for (const char* const key : {"CompilerName", "Release"}) {
        const std::string_view* const value = rules::findBuildValue(pairs, key);
        text += std::string(" ") + key + " " + (value ? std::string(value->substr(0, 100)) : "(none)");
    }
    return text;
}

// Returns with the library still open; a failure ends the process.
Library inspectFile(const std::string& file) {
    reportFile();
    inspectedFile = file;
    Library library = open(file);
    const EntryPoints entryPoints = findEntryPoints(library->handle);
    saidBuildInfo =
        guarded(Call::getPluginBuildInfo, StepName::buildInformation, "in GetPluginBuildInfo", [&] {
            const char* const text = entryPoints.getBuildInfo();
            return std::string(text ? text : "");
        });
    writeReport({{"buildInformation", bounded(saidBuildInfo)}});
    guarded(Call::getPluginInfo, StepName::descriptor, "in GetPluginInfo", [&] {
        saidInfo.emplace(file);
        entryPoints.getInfo(*saidInfo);  // the manager ignores its result too
    });
    saidInfo->path = file;
    writeReport({{"descriptor", toJson(*saidInfo)}});
    if (const std::string problem = buildProblem(entryPoints); !problem.empty())
        endWith(StepName::buildInformation, saidBuildInfo.empty()
                                                ? problem
                                                : sideText("the plugin states", saidBuildInfo) +
                                                      sideText(", the product", QV_PLUGIN_BUILD_INFO));
    if (saidInfo->name.empty()) {
        reportFailure(StepName::descriptor, rules::kEmptyNameMessage);
        writeReport({{"line", rules::kEmptyNameMessage}});  // the manager asks its listeners before it looks
        endChild(1);
    }
    writeReport({{"whole", true}});
    return library;
}

}  // namespace

void inspectInChild(const std::vector<std::string>& files) {
    silenceLog();
    const Footprint before = files.size() > 1 ? takeFootprint() : Footprint();
    for (const std::string& file : files) {
        Library library = inspectFile(file);
        isFirstFile = false;
        if (&file == &files.back()) endChild(0);
        library.reset();
        if (!isUnchangedSince(before)) endChild(0);
    }
    endChild(0);
}

}  // namespace qvp
