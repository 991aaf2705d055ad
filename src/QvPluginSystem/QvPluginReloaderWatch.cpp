#include "QvPluginSystem/QvPluginReloaderState.h"

namespace QvPluginSystem {

bool QvPluginReloader::watch(NewFiles newFiles, std::string* error) {
    const std::string refusal = state_->refusal();
    if (!refusal.empty()) {
        if (error) *error = refusal;
        return false;
    }
    if (!state_->polling) state_->polling = std::make_unique<ReloadPoll>(state_->manager, state_->live);
    return state_->polling->watch(newFiles, error);
}

Qv::QvArray<QvReloadResult> QvPluginReloader::poll() {
    if (!state_->polling) return {};
    if (std::this_thread::get_id() == state_->thread) return state_->polling->poll();
    return {reload(Qv::QvArray<std::string>())};  // which is refused
}

}  // namespace QvPluginSystem
