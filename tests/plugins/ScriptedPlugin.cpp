// A plugin that does what a text file next to it says, so that a test creates the plugins that it needs by
// copying this one. Each line of a text at the end of NAME.qvp itself, and of NAME.txt next to it, is a
// keyword and its value:
//     name, displayName, version, compatibility, needs NAME VERSION      for the descriptor
//     claims                                                            to record what the manager keeps
//     build LINE                                                         for the build information
//     open throw                                                         to fail in a static initializer
//     describe|initialize|uninitialize  false|throw|throwInt             to fail there
//     initialize endThread                                               to end the calling thread there
//     whenInitialized|whenUninitialized  load PATH|unload NAME           to call the manager from there
//     counted                                                            to record the number of
//     initializations
//     publishes|listens                                                  and never takes it back
//     leavesThread hearing|deaf|busy     running; deaf: it blocks all signals; busy: it also never waits
//     save STATE, save|restore false|throw                               as the state of a reload

#include <QvPlatform/QvPluginSystem/QvPlugin.h>
#include <QvPlatform/filesystem/File.h>

#include "CallLog.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

#ifdef __ELF__
#include <pthread.h>

#include <csignal>
#endif

namespace {

using Script = std::vector<std::pair<std::string, std::string>>;

char anchor = 0;

// A variable that outlives the library if unique symbols keep it in memory.
struct Counter {
    inline static int initializations = 0;
};

std::ifstream openFile(const std::string& path) {
    return std::ifstream(std::filesystem::path(std::u8string(path.begin(), path.end())), std::ios::binary);
}

// The text of a version's own script, which follows the library and is followed by its size in 8 digits and
// "QVSCRIPT"; "" if there is none.
std::string scriptInLibrary(const std::string& library) {
    constexpr std::streamoff kSizeAndMark = 16;
    std::ifstream file = openFile(library);
    std::string end(kSizeAndMark, ' ');
    file.seekg(-kSizeAndMark, std::ios::end);
    file.read(end.data(), kSizeAndMark);
    if (!file || end.compare(8, 8, "QVSCRIPT") != 0) return {};
    std::string text(std::stoul(end.substr(0, 8)), ' ');
    file.seekg(-kSizeAndMark - static_cast<std::streamoff>(text.size()), std::ios::end);
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    return text;
}

// In live mode this library is a copy named ".NAME.qvp.live-...".
std::string scriptNextTo(const QvPlatform::File& library) {
    std::string name = library.getName();
    if (name.front() == '.') name = name.substr(1, name.rfind(".live-") - 1);
    std::ifstream file = openFile(library.getFolderPath() + name.substr(0, name.rfind('.')) + ".txt");
    return {std::istreambuf_iterator<char>(file), {}};
}

// A text file is read each time, because a test may change it.
Script script() {
    const QvPlatform::File self = QvPlatform::File::thatContains(&anchor);
    static const std::string own = scriptInLibrary(self.toUniversalPath());
    std::istringstream text(own + scriptNextTo(self));
    Script lines;
    for (std::string line; std::getline(text, line);) {
        const auto blank = line.find(' ');
        lines.emplace_back(line.substr(0, blank), blank == std::string::npos ? "" : line.substr(blank + 1));
    }
    return lines;
}

std::string valueOf(const std::string& word) {
    for (const auto& [key, value] : script()) {
        if (key == word) return value;
    }
    return {};
}

void record(const std::string& call) {
    for (QvPluginSystem::QvPluginObject* object :
         QvPluginSystem::QvPluginManager::instance()->getAllObjects()) {
        if (auto* log = dynamic_cast<CallLog*>(object)) log->record(call + " " + valueOf("name"));
    }
}

class Published : public QvPluginSystem::QvPluginObject {};
class Listening : public QvPluginSystem::QvPluginManagerListener {};
Published published;
Listening listening;

enum ThreadState { kNotStarted, kRunning, kToldToEnd };
std::thread leftThread;
std::atomic<ThreadState> leftThreadState{kNotStarted};

void stayInLibrary() {
#ifdef __ELF__
    sigset_t all;
    sigfillset(&all);
    if (valueOf("leavesThread") != "hearing") pthread_sigmask(SIG_SETMASK, &all, nullptr);
#endif
    const bool isBusy = valueOf("leavesThread") == "busy";
    leftThreadState = kRunning;
    while (leftThreadState == kRunning)
        if (!isBusy) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void leaveBehind(QvPluginSystem::QvPluginManager& manager) {
    for (const auto& line : script()) {
        if (line.first == "leavesThread") {
            leftThread = std::thread(stayInLibrary);
            while (leftThreadState == kNotStarted) std::this_thread::yield();
        }
        if (line.first == "publishes") manager.addObject(&published);
        if (line.first == "listens") QvPluginSystem::QvPluginManager::addListener(&listening);
    }
}

bool outcome(const std::string& place, std::string* error) {
    const std::string wanted = valueOf(place);
    if (wanted == "throw") throw std::runtime_error(place + " threw");
    if (wanted == "throwInt") throw 7;
#ifdef __ELF__
    if (wanted == "endThread") pthread_exit(nullptr);
#endif
    if (error) *error = place + " said no";
    return wanted != "false";
}

struct Opened {
    Opened() {
        if (!valueOf("open").empty()) record("open");
        outcome("open", nullptr);
    }
};

const Opened opened;

void callManager(QvPluginSystem::QvPluginManager& manager, const std::string& place) {
    const std::string order = valueOf(place);
    if (order.rfind("load ", 0) == 0) manager.load(order.substr(5));
    if (order.rfind("unload ", 0) == 0)
        record(manager.unload(order.substr(7)) ? "unload true" : "unload false");
}

void addDependency(QvPluginSystem::QvPluginInfo& info, const std::string& nameAndVersion) {
    const auto blank = nameAndVersion.find(' ');
    info.addDependency({nameAndVersion.substr(0, blank), Qv::QvVersion(nameAndVersion.substr(blank + 1))});
}

}  // namespace

bool GetPluginInfo(QvPluginSystem::QvPluginInfo& info) {
    record("describe");
    info.name = valueOf("name");
    info.displayName = valueOf("displayName");
    info.version = Qv::QvVersion(valueOf("version"));
    info.compatibilityVersion = Qv::QvVersion(valueOf("compatibility"));
    for (const auto& [key, value] : script()) {
        if (key == "needs") addDependency(info, value);
        if (key == "claims") {
            info.path = "elsewhere";
            info.dependentCount = 7;
            info.explicitlyLoaded = true;
        }
    }
    return outcome("describe", nullptr);
}

bool InitializePlugin(QvPluginSystem::QvPluginManager& manager, int argc, char** argv, std::string* error) {
    ++Counter::initializations;
    record(argc == 0 && !argv ? "initialize" : "initialize with arguments");
    callManager(manager, "whenInitialized");
    leaveBehind(manager);
    return outcome("initialize", error);
}

bool UninitializePlugin(QvPluginSystem::QvPluginManager& manager, std::string* error) {
    record(error ? "uninitialize with error" : "uninitialize");
    for (const auto& line : script()) {
        if (line.first == "counted") record("initialized " + std::to_string(Counter::initializations));
    }
    callManager(manager, "whenUninitialized");
    return outcome("uninitialize", error);
}

// Calls a function of the test, with this library on the call stack.
extern "C" QV_PLUGIN_EXPORT void callBack(void (*function)(void*), void* argument) {
    function(argument);
    ++Counter::initializations;  // not a tail call
}

extern "C" QV_PLUGIN_EXPORT void endLeftThread() {
    leftThreadState = kToldToEnd;
    leftThread.join();
}

bool SavePluginState(std::string* state) {
    record("save");
    *state = valueOf("save");
    return !state->empty() && outcome("save", nullptr);
}

bool RestorePluginState(const std::string& state) {
    record("restore " + state);
    return outcome("restore", nullptr);
}

const char* GetPluginBuildInfo() {
    static const std::string text = [] {
        std::string lines;
        for (const auto& [key, value] : script()) {
            if (key == "build") lines += value + "\n";
        }
        return lines;
    }();
    return text.empty() ? QV_PLUGIN_BUILD_INFO : text.c_str();
}
