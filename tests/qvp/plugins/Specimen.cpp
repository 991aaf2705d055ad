// A plugin with a fault that a macro selects when it is compiled.

#include <QvPlatform/QvPluginSystem/QvPlugin.h>
#include <QvPlatform/filesystem/Directory.h>
#include <QvPlatform/filesystem/Environment.h>
#include <QvPlatform/filesystem/File.h>
#include <QvPlatform/system/Process.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#if defined(CLOSES_DESCRIPTORS) && defined(__linux__)
#include <unistd.h>
#endif

#if defined(NEEDS_LIBRARY)
int libraryFunction();
#endif

namespace {

[[maybe_unused]] void crash() {
    volatile int* volatile nowhere = nullptr;  // volatile, so that nothing is optimised away
    *nowhere = 1;
}

[[maybe_unused]] void hang() {
    for (;;) std::this_thread::sleep_for(std::chrono::seconds(1));
}

#if defined(TAKES_MEMORY)
// Twice as much as it may have. Reports an environment variable that a previous call has left.
std::string takeMemory() {
    static std::vector<std::unique_ptr<char[]>> taken;
    const std::string left = QvPlatform::getEnv("QVP_SPECIMEN");
    if (!left.empty()) return left;
    QvPlatform::putEnv("QVP_SPECIMEN", "left");
    constexpr std::size_t kGigabyte = std::size_t{1} << 30U;
    for (int i = 0; i < 8; ++i) taken.emplace_back(new char[kGigabyte]);
    return "took it";
}
#endif

#if defined(STARTS_ANOTHER)
// A process that continues when the file "go" appears next to this one, and then creates another file.
void startAnother() {
    static char anchor = 0;
    const QvPlatform::File self = QvPlatform::File::thatContains(&anchor);
    const QvPlatform::Directory programs(QvPlatform::Directory::kExecutableDirectory);
    const std::string program = "\"" + programs.toUniversalPath() + "child program\"";
    QvSim::Process::shellExecute(program, "wait \"" + self.getFolderPath() + "go\"", false, false, nullptr);
}
#endif

struct Opened {
    Opened() {
        std::puts("said while it was opened");
        std::fflush(stdout);
#if defined(CRASH_WHEN_OPENED)
        crash();
#elif defined(STARTS_ANOTHER)
        startAnother();
        hang();
#elif defined(HANG_WHEN_OPENED)
        hang();
#elif defined(EXIT_WHEN_OPENED)
        std::exit(3);
#elif defined(THROW_WHEN_OPENED)
        throw std::runtime_error("thrown while it was opened");
#elif defined(ABORT_WHEN_OPENED)
        std::abort();
#elif defined(ENDS_PROCESS)
        std::_Exit(0);
#elif defined(CLOSES_DESCRIPTORS) && defined(__linux__)
        for (int descriptor = 3; descriptor < 1024; ++descriptor) close(descriptor);
#elif defined(NEEDS_LIBRARY)
        std::printf("%d\n", libraryFunction());
#endif
    }
#if defined(CRASH_IN_DESTRUCTOR)
    ~Opened() { crash(); }
#endif
};

const Opened opened;

#if defined(LEAVES_THINGS)
void leaveThings() {
    std::thread(hang).detach();
    QvPlatform::putEnv("QVP_SPECIMEN_WAS_HERE", "yes");
    std::filesystem::current_path(std::filesystem::temp_directory_path());
    static const std::ifstream& file = *new std::ifstream("/proc/self/stat");
    if (!file) std::puts("this system has no such file");
}
#endif

class Published : public QvPluginSystem::QvPluginObject {};

Published published;

}  // namespace

#if !defined(NO_ENTRY_POINTS)

bool GetPluginInfo(QvPluginSystem::QvPluginInfo& info) {
#if defined(HANG_IN_INFO)
    hang();
#elif defined(THROW_IN_INFO)
    throw 7;
#elif defined(TAKES_MEMORY)
    info.name = takeMemory();
#elif !defined(EMPTY_NAME)
    info.name = "specimen";
#endif
    info.displayName = "Speci\xC3\xA4l";
    info.vendor = "not UTF-8: \xFF";
    info.version = Qv::QvVersion(1, 2, 3, 4, "beta");
    info.addDependency({"scene", Qv::QvVersion("1.2")});
#if defined(INDEPENDENT)
    info.dependencies.clear();
#endif
    return true;
}

bool InitializePlugin(QvPluginSystem::QvPluginManager& manager, int /*argc*/, char** /*argv*/,
                      std::string* /*error*/) {
    manager.addObject(&published);
    // What this process holds, where the system has such a file.
    for (auto [maps, line] = std::pair(std::ifstream("/proc/self/maps"), std::string());
         std::getline(maps, line);)
        std::puts(line.c_str());
#if defined(CRASH_WHEN_INITIALIZED)
    crash();
#elif defined(EXIT_WHEN_INITIALIZED)
    std::exit(0);
#elif defined(SAYS_NO)
    return false;
#elif defined(LEAVES_THINGS)
    leaveThings();
#endif
    return true;
}

bool UninitializePlugin([[maybe_unused]] QvPluginSystem::QvPluginManager& manager, std::string* /*error*/) {
#if defined(CRASH_WHEN_UNINITIALIZED)
    crash();
#endif
#if !defined(LEAVES_OBJECT)
    manager.removeObject(&published);
#endif
    return true;
}

const char* GetPluginBuildInfo() {
#if defined(REFUSED_BUILD)
    return "CompilerName:MSVC\nRelease:0\n";
#elif defined(CRASH_IN_BUILD_INFO)
    crash();
#elif defined(LONG_BUILD_INFO)
    static std::string text = QV_PLUGIN_BUILD_INFO;
    text.resize(20'000'000, 'x');
    text += ":1\n";
    return text.c_str();
#endif
    return QV_PLUGIN_BUILD_INFO;
}

#endif
