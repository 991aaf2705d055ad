#include "PluginFolder.h"

#include <QvPlatform/QvPluginSystem/QvPluginManager.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace bench {
namespace {

namespace fs = std::filesystem;
using QvPluginSystem::QvPluginManager;

fs::path makeTemporaryFolder() {
    std::string text = (fs::temp_directory_path() / "qv-bench-XXXXXX").string();
    if (!mkdtemp(text.data())) throw std::runtime_error("cannot make the folder " + text);
    return text;
}

}  // namespace

PluginFolder::PluginFolder(Layout layout, std::size_t count)
    : layout_(layout), folder_(makeTemporaryFolder()) {
    for (std::size_t number = 0; number < count; ++number) fs::copy_file(QV_BENCH_PLUGIN, file(number));
    QvPluginManager::instance()->addPluginSearchDir(folder_.string());
}

PluginFolder::~PluginFolder() {
    QvPluginManager::instance()->removePluginSearchDir(folder_.string());
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

std::string PluginFolder::name(std::size_t number) const {
    char text[32];
    std::snprintf(text, sizeof text, "%c%05zu", static_cast<char>(layout_), number);
    return text;
}

std::string PluginFolder::file(std::size_t number) const {
    return (folder_ / (name(number) + ".qvp")).string();
}

Qv::QvArray<std::string> PluginFolder::files(std::size_t first, std::size_t last) const {
    Qv::QvArray<std::string> paths;
    for (std::size_t number = first; number < last; ++number) paths.push_back(file(number));
    return paths;
}

}  // namespace bench
