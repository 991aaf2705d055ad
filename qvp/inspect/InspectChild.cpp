
#include "child/Child.h"
#include "inspect/ChildSupport.h"
#include "inspect/InspectReport.h"
#include "inspect/Steps.h"

#include <QvPlatform/QvPluginSystem/LoadSharedLibrary.h>
#include <QvPlatform/QvPluginSystem/QvPluginFuncInterface.h>
#include <QvPlatform/QvPluginSystem/QvPluginInfo.h>

#include <optional>

namespace qvp {
namespace {

using QvPluginSystem::QvPluginFuncInterface;
using QvPluginSystem::QvPluginInfo;

[[noreturn]] void endWith(StepName step, const std::string& text) {
    reportFailure(step, 0, text);
    endChild(1);
}

// Calls into the plugin; an exception is reported and ends the process.
template <typename Function>
auto guarded(Call call, StepName step, const char* where, Function function) {
    reportBegin(call);
    try {
        return function();
    } catch (...) {
        endWith(step, "threw " + currentExceptionText() + " " + where);
    }
}

void* open(const std::string& file) {
    return guarded(Call::open, StepName::opened, "while it was opened", [&] {
        // The process ends without closing it.
        const auto& library = *new QvPluginSystem::LoadSharedLibrary(file);
        if (!library.handle) endWith(StepName::opened, QvPluginSystem::getLastError());
        return library.handle;
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

}  // namespace

void inspectInChild(const std::string& file) {
    silenceLog();
    const EntryPoints entryPoints = findEntryPoints(open(file));
    saidBuildInfo =
        guarded(Call::getPluginBuildInfo, StepName::buildInformation, "in GetPluginBuildInfo", [&] {
            const char* const text = entryPoints.getBuildInfo();
            return std::string(text ? text : "");
        });
    writeReport({{"buildInformation", saidBuildInfo}});
    guarded(Call::getPluginInfo, StepName::descriptor, "in GetPluginInfo", [&] {
        saidInfo.emplace(file);
        entryPoints.getInfo(*saidInfo);  // the manager ignores its result too
    });
    saidInfo->path = file;
    writeReport({{"descriptor", toJson(*saidInfo)}});
    if (const std::string problem = buildProblem(entryPoints); !problem.empty())
        endWith(StepName::buildInformation, problem);
    if (saidInfo->name.empty()) endWith(StepName::descriptor, "This plugin has an empty name.");
    writeReport({{"whole", true}});
    endChild(0);
}

}  // namespace qvp
