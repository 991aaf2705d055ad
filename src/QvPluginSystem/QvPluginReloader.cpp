#include <QvPlatform/QvPluginSystem/QvPluginReloader.h>

#include "QvPluginSystem/QvPluginReloaderState.h"
#include "QvPluginSystem/ReloadTransaction.h"

#include <cstdio>

namespace QvPluginSystem {
namespace {

QvReloadResult refused(const Qv::QvArray<std::string>& names, const std::string& reason) {
    QvReloadResult result;
    result.outcome = QvReloadResult::Outcome::refused;
    result.plugins = names;
    result.reason = reason;
    return result;
}

std::string joined(const Qv::QvArray<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

const char* textOf(QvReloadResult::Outcome outcome) {
    using Outcome = QvReloadResult::Outcome;
    switch (outcome) {
        case Outcome::reloaded:
            return "reloaded";
        case Outcome::loaded:
            return "loaded";
        case Outcome::unchanged:
            return "unchanged";
        case Outcome::refused:
            return "not reloaded";
        case Outcome::rolledBack:
            return "rolled back";
        case Outcome::lost:
            return "lost";
    }
    return "";
}

const char* textOf(QvReloadStep::Action action) {
    using Action = QvReloadStep::Action;
    switch (action) {
        case Action::check:
            return "check";
        case Action::save:
            return "save";
        case Action::unload:
            return "unload";
        case Action::load:
            return "load";
        case Action::restore:
            return "restore";
    }
    return "";
}

}  // namespace

std::string QvReloadResult::text() const {
    double milliseconds = 0;
    for (const QvReloadStep& step : steps) milliseconds += step.milliseconds;
    char time[64];
    std::snprintf(time, sizeof time, " in %.1f ms", milliseconds);
    std::string lines = joined(plugins) + ": " + textOf(outcome) + (steps.empty() ? "" : time);
    if (!lost.empty()) lines += ", without " + joined(lost);
    if (!reason.empty()) lines += ": " + reason;
    lines += '\n';
    for (const QvReloadStep& step : steps) {
        if (!step.message.empty() && reason.find(step.message) == std::string::npos)
            lines += std::string("  ") + textOf(step.action) + ' ' + step.plugin + ": " + step.message + '\n';
    }
    return lines;
}

QvPluginReloader::QvPluginReloader() : state_(std::make_unique<State>(*QvPluginManager::instance()->state_)) {
    PluginSystemState& shared = state_->manager.shared;
    state_->isOnlyOne = !shared.libraries.isLive();
    if (!state_->isOnlyOne) return;
    shared.libraries.setLive(&state_->live);
    for (QvPluginInfo* info : shared.registry.plugins()) {
        const PluginFile& file = static_cast<LoadedPlugin*>(info)->file;
        const bool isTheOneThatRuns = PluginFile(file.path).status.identity == file.status.identity;
        if (isTheOneThatRuns) state_->live.adopt(file.path);
    }
}

QvPluginReloader::~QvPluginReloader() = default;

QvReloadResult QvPluginReloader::reload(const std::string& name) { return reload(Qv::QvArray{name}); }

QvReloadResult QvPluginReloader::reload(const Qv::QvArray<std::string>& names) {
    const std::string refusal = state_->refusal();
    if (!refusal.empty()) return refused(names, refusal);
    return ReloadTransaction(state_->manager, state_->live).run(names);
}

}  // namespace QvPluginSystem
