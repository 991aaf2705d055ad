#include "PluginsByHand.h"

#include <QvPlatform/QvPluginSystem/QvPluginManager.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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

bool hasProgramHeaders(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    char head[1024];
    const bool isRead = lseek(descriptor, 0, SEEK_END) > 0 && pread(descriptor, head, sizeof head, 0) > 0;
    return close(descriptor) == 0 && isRead;
}

}  // namespace

bool PluginsByHand::Plugin::open(const std::string& file) {
    handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    return handle && bind(getInfo, handle, "GetPluginInfo") && bind(initialize, handle, "InitializePlugin") &&
           bind(uninitialize, handle, "UninitializePlugin") &&
           bind(getBuildInfo, handle, "GetPluginBuildInfo");
}

bool PluginsByHand::Plugin::start(QvPluginInfo& info) const {
    std::string error;
    return *getBuildInfo() && getInfo(info) && initialize(*QvPluginManager::instance(), 0, nullptr, &error);
}

void PluginsByHand::Plugin::stop() const {
    uninitialize(*QvPluginManager::instance(), nullptr);
    dlclose(handle);
}

bool PluginsByHand::findFile(const std::string& name) const {
    const auto isIn = [&](const std::string& directory) { return isRegularFile(directory + "/" + name); };
    return isRegularFile(name) || std::any_of(searchDirs_.begin(), searchDirs_.end(), isIn);
}

bool PluginsByHand::findDependencies(const QvPluginInfo& info) const {
    const auto isThere = [&](const QvDependency& dependency) {
        return findFile(dependency.name) || findFile(dependency.name + ".qvp");
    };
    return std::all_of(info.dependencies.begin(), info.dependencies.end(), isThere);
}

bool PluginsByHand::load(const std::vector<std::string>& files) {
    QvPluginInfo info;
    plugins_.resize(files.size());
    for (std::size_t i = 0; i < files.size(); ++i) {
        info.dependencies.clear();
        if (checksFiles_ && (!isRegularFile(files[i]) || !hasProgramHeaders(files[i]))) return false;
        if (!plugins_[i].open(files[i]) || !plugins_[i].start(info)) return false;
        if (checksFiles_ && !findDependencies(info)) return false;
    }
    return true;
}

void PluginsByHand::unload(const std::vector<std::size_t>& order) {
    for (const std::size_t position : order) plugins_[position].stop();
    plugins_.clear();
}

bool PluginsByHand::readInfo(const std::string& file, QvPluginInfo& info) {
    Plugin plugin;
    return plugin.open(file) && *plugin.getBuildInfo() && plugin.getInfo(info) && dlclose(plugin.handle) == 0;
}

}  // namespace bench
