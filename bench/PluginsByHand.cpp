#include "PluginsByHand.h"

#include <QvPlatform/QvPluginSystem/QvPluginManager.h>

#include <dlfcn.h>
#include <sys/stat.h>

#include <algorithm>

namespace bench {
namespace {

using QvPluginSystem::QvDependency;
using QvPluginSystem::QvPluginInfo;
using QvPluginSystem::QvPluginManager;

template <typename Function>
bool bind(Function& function, void* handle, const char* name) {
    function = reinterpret_cast<Function>(dlsym(handle, name));
    return function != nullptr;
}

bool isRegularFile(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

bool PluginsByHand::Plugin::open(const std::string& file) {
    handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    return handle && bind(getInfo, handle, "GetPluginInfo") && bind(initialize, handle, "InitializePlugin") &&
           bind(uninitialize, handle, "UninitializePlugin") &&
           bind(getBuildInfo, handle, "GetPluginBuildInfo");
}

// The calls that the manager makes: one descriptor is filled for the check of the build, one to keep.
bool PluginsByHand::Plugin::start() {
    QvPluginInfo checked;
    if (!*getBuildInfo() || !getInfo(checked) || !getInfo(info)) return false;
    std::string error;
    return initialize(*QvPluginManager::instance(), 0, nullptr, &error);
}

void PluginsByHand::Plugin::stop() {
    uninitialize(*QvPluginManager::instance(), nullptr);
    dlclose(handle);
}

bool PluginsByHand::findFile(const std::string& name) const {
    const auto isIn = [&](const std::string& directory) { return isRegularFile(directory + "/" + name); };
    return isRegularFile(name) || std::any_of(searchDirs_.begin(), searchDirs_.end(), isIn);
}

bool PluginsByHand::findDependencies(const Plugin& plugin) const {
    const auto& needed = plugin.info.dependencies;
    return std::all_of(needed.begin(), needed.end(), [&](const QvDependency& dependency) {
        return findFile(dependency.name) || findFile(dependency.name + ".qvp");
    });
}

bool PluginsByHand::load(const std::vector<std::string>& files) {
    plugins_.resize(files.size());
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (!plugins_[i].open(files[i]) || !plugins_[i].start()) return false;
        if (!searchDirs_.empty() && !findDependencies(plugins_[i])) return false;
    }
    return true;
}

void PluginsByHand::unload(const std::vector<std::size_t>& order) {
    for (const std::size_t position : order) plugins_[position].stop();
    plugins_.clear();
}

}  // namespace bench
