// Shared libraries, one plugin's descriptor and a whole folder of plugins, compared with the loader's calls
// by hand, which are the limit.

#include <QvPlatform/QvPluginSystem/LoadSharedLibrary.h>
#include <QvPlatform/QvPluginSystem/QvPluginManager.h>

#include "BenchSupport.h"
#include "PluginFolder.h"
#include "PluginsByHand.h"
#include "StandardErrorFile.h"
#include "TreeByHand.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <numeric>
#include <string>
#include <vector>

namespace {

using bench::check;
using bench::Layout;
using bench::PluginFolder;
using QvPluginSystem::QvPluginInfo;
using QvPluginSystem::QvPluginManager;

// The folder is a search directory. The log is at its default level and writes to a file.
void benchFolder(benchmark::State& state) {
    const bench::StandardErrorFile log;
    const auto count = static_cast<std::size_t>(state.range(0));
    const PluginFolder folder(Layout::Independent, count);
    const std::string directory = std::filesystem::path(folder.file(0)).parent_path();
    auto* manager = QvPluginManager::instance();
    std::vector<std::size_t> order(count);
    std::iota(order.begin(), order.end(), 0);
    bench::Sides sides;
    for ([[maybe_unused]] auto turn : state) {
        sides.ours.add(bench::timePerCall(1, [&](std::size_t) { manager->loadAllQvp(); }));
        check(manager->getPlugins().size() == count);
        manager->unloadAll();
        bench::PluginsByHand byHand;
        sides.peer.add(bench::timePerCall(1, [&](std::size_t) {
            std::vector<std::string> files;
            bench::findByHand(directory, ".qvp", false, files);
            check(files.size() == count && byHand.load(files));
        }));
        byHand.unload(order);
    }
    bench::report(state, {"loadAllQvp, by plugins", "limit, getdents, dlopen", count, {.ratio = 1.2}}, sides);
}
BENCHMARK(benchFolder)->Arg(500)->Iterations(15);

void benchInfo(benchmark::State& state) {
    const PluginFolder folder(Layout::Independent, 1);
    const std::string file = folder.file(0);
    bench::compare(
        state, {"loadInfo", "limit, dlopen, dlsym", 1, {.ratio = 1.3}}, 100,
        [&](std::size_t) { check(!QvPluginManager::instance()->loadInfo(file, "", "").name.empty()); },
        [&](std::size_t) {
            QvPluginInfo info;
            check(bench::PluginsByHand::readInfo(file, info) && !info.name.empty());
        });
}
BENCHMARK(benchInfo)->Iterations(100);

void openAndClose(const std::string& file) {
    void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    check(handle && dlclose(handle) == 0);
}

// The loader waits forever for a pipe and ends the process at the end of a file that is cut off. So the least
// is one look at the file's kind, its size and its headers; ours opens the file once for each.
void lookAtFile(const std::string& file) {
    const int opened = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat status {};
    char headers[1024];
    check(opened >= 0 && fstat(opened, &status) == 0 && S_ISREG(status.st_mode));
    check(pread(opened, headers, sizeof headers, 0) > 0 && close(opened) == 0);
}

template <typename Peer>
void compareOpening(benchmark::State& state, const bench::Row& row, const std::string& file, Peer open) {
    bench::compare(
        state, row, 100,
        [&](std::size_t) { check(QvPluginSystem::LoadSharedLibrary(file).handle != nullptr); },
        [&](std::size_t) { open(file); });
}

void benchOpening(benchmark::State& state) {
    const PluginFolder folder(Layout::Independent, 1);
    compareOpening(state, {"LoadSharedLibrary and close", "limit, dlopen, dlclose", 1, {.ratio = 1.3}},
                   folder.file(0), openAndClose);
}
BENCHMARK(benchOpening)->Iterations(100);

void benchOpeningAgain(benchmark::State& state) {
    const PluginFolder folder(Layout::Independent, 1);
    const QvPluginSystem::LoadSharedLibrary keptOpen(folder.file(0));
    compareOpening(state, {"LoadSharedLibrary, already loaded", "limit, checked dlopen", 1, {.ratio = 2.5}},
                   folder.file(0), [](const std::string& file) {
                       lookAtFile(file);
                       openAndClose(file);
                   });
}
BENCHMARK(benchOpeningAgain)->Iterations(100);

}  // namespace
