// A plugin that is what its file's name says: a layout's letter and a number, from which its
// dependencies follow. One library is copied under as many names as a measurement needs.

#include <QvPlatform/QvPluginSystem/QvPlugin.h>

#include <dlfcn.h>
#include <link.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

using QvPluginSystem::QvPluginInfo;

constexpr std::size_t kLayerWidth = 20;
constexpr std::size_t kNameLength = 6;  // the letter and five digits

// The loader knows the file of each library; this look-up does not grow with their number.
const char* ownFileName() {
    static const char anchor = 0;
    dl_find_object module{};
    if (_dl_find_object(const_cast<char*>(&anchor), &module) != 0) return "";
    const char* path = module.dlfo_link_map->l_name;
    const char* slash = std::strrchr(path, '/');
    const char* name = slash ? slash + 1 : path;
    return *name == '.' ? name + 1 : name;  // in live mode it is a hidden copy
}

void dependOn(QvPluginInfo& info, char layout, std::size_t number) {
    char name[32];
    std::snprintf(name, sizeof name, "%c%05zu", layout, number);
    info.addDependency({name, Qv::QvVersion(1, 0, 0, 0, "")});
}

void addLayeredDependencies(QvPluginInfo& info, std::size_t number) {
    if (number < kLayerWidth) return;
    const std::size_t layerBelow = number / kLayerWidth * kLayerWidth - kLayerWidth;
    for (const std::size_t step : {0U, 1U}) dependOn(info, 'l', layerBelow + (number + step) % kLayerWidth);
}

// Plugin 3k tops the diamond of 3k-3, 3k-2 and 3k-1.
void addLadderDependencies(QvPluginInfo& info, std::size_t number) {
    if (number == 0) return;
    const std::size_t place = number % 3;
    if (place != 0) return dependOn(info, 'd', number - place);
    dependOn(info, 'd', number - 2);
    dependOn(info, 'd', number - 1);
}

}  // namespace

bool GetPluginInfo(QvPluginInfo& info) {
    const char* file = ownFileName();
    info.name.assign(file, kNameLength);
    info.version = Qv::QvVersion(1, 0, 0, 0, "");
    const std::size_t number = std::strtoul(file + 1, nullptr, 10);
    if (*file == 'l') addLayeredDependencies(info, number);
    if (*file == 'd') addLadderDependencies(info, number);
    if (*file == 's' && number != 0) dependOn(info, 's', 0);
    return true;
}

bool InitializePlugin(QvPluginSystem::QvPluginManager&, int, char**, std::string*) { return true; }

bool UninitializePlugin(QvPluginSystem::QvPluginManager&, std::string*) { return true; }

const char* GetPluginBuildInfo() { return QV_PLUGIN_BUILD_INFO; }
