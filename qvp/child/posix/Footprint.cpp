#include "child/Footprint.h"

#include "os/posix/PosixSupport.h"

#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cinttypes>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>

namespace qvp::footprint {
namespace {

struct Mapping {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    bool isCode = false;
    std::string file;  // or "[stack]", or ""
};

std::vector<Mapping> mappings() {
    std::vector<Mapping> all;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        Mapping mapping;
        std::array<char, 5> access{};
        int end = 0;  // of what stands before the name
        std::sscanf(line.c_str(), "%" SCNxPTR "-%" SCNxPTR " %4s %*s %*s %*s %n", &mapping.begin,
                    &mapping.end, access.data(), &end);
        mapping.file = line.substr(static_cast<std::size_t>(end));
        mapping.isCode = access[2] == 'x';
        all.push_back(std::move(mapping));
    }
    return all;
}

// The C library maps these by itself when it first needs them.
bool isOfCLibrary(const std::string& file) {
    return file.find("/gconv/") != std::string::npos || file.find("/locale/") != std::string::npos;
}

void addMappings(Footprint::Items& items) {
    for (const Mapping& mapping : mappings()) {
        if (mapping.file.starts_with('/') && !isOfCLibrary(mapping.file)) items[mapping.file] = {};
    }
}

void addDescriptors(Footprint::Items& items) {
    const os::posix::DirectoryStream folder(opendir("/proc/self/fd"));
    if (!folder) return;
    const int own = dirfd(folder.get());
    while (const dirent* const entry = readdir(folder.get())) {
        if (*entry->d_name == '.' || entry->d_name == std::to_string(own)) continue;
        items[entry->d_name] = os::posix::linkText(own, entry->d_name).value_or("");
    }
}

void addSignalHandlers(Footprint::Items& items) {
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action {};
        if (sigaction(number, nullptr, &action) != 0) continue;
        const char* const name = sigabbrev_np(number);
        const std::string text = name ? std::string("SIG") + name : "signal " + std::to_string(number);
        std::uintptr_t handler = 0;
        std::memcpy(&handler, &action.sa_sigaction, sizeof handler);
        items[text] = handler == 0 ? "default action" : "handler " + std::to_string(handler);
    }
}

void addTimers(Footprint::Items& items) {
    constexpr std::pair<int, const char*> kTimers[] = {
        {ITIMER_REAL, "ITIMER_REAL"}, {ITIMER_VIRTUAL, "ITIMER_VIRTUAL"}, {ITIMER_PROF, "ITIMER_PROF"}};
    for (const auto& [timer, name] : kTimers) {
        itimerval value{};
        const bool isSet =
            getitimer(timer, &value) == 0 && (value.it_value.tv_sec != 0 || value.it_value.tv_usec != 0);
        if (isSet) items[name] = {};
    }
    std::ifstream timers("/proc/self/timers");
    for (std::string line; std::getline(timers, line);) {
        if (line.starts_with("ID: ")) items["timer_create, number " + line.substr(4)] = {};
    }
}

void addEnvironment(Footprint::Items& items) {
    for (char** variable = environ; variable && *variable; ++variable) {
        const std::string text = *variable;
        const auto end = std::min(text.find('='), text.size());
        items[text.substr(0, end)] = text.substr(std::min(end + 1, text.size()));
    }
}

std::string lineOf(const std::string& file) {
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line;
}

// While it waits in the system; a running thread has none.
std::optional<std::uintptr_t> stackPointerOf(unsigned long thread) {
    std::istringstream words(lineOf("/proc/self/task/" + std::to_string(thread) + "/syscall"));
    std::vector<std::string> all;
    for (std::string word; words >> word;) all.push_back(word);
    if (all.size() < 3) return std::nullopt;
    return std::strtoull(all[all.size() - 2].c_str(), nullptr, 16);
}

const Mapping* holding(const std::vector<Mapping>& all, std::uintptr_t address) {
    const auto found = std::find_if(all.begin(), all.end(), [=](const Mapping& mapping) {
        return address >= mapping.begin && address < mapping.end;
    });
    return found == all.end() ? nullptr : &*found;
}

// Read as a file, because the thread goes on: what it unmaps meanwhile is then an error and no fault.
std::vector<std::uintptr_t> wordsAt(std::uintptr_t begin, std::uintptr_t end) {
    std::vector<std::uintptr_t> words((end - begin) / sizeof(std::uintptr_t));
    const os::posix::Descriptor memory(open("/proc/self/mem", O_RDONLY | O_CLOEXEC));
    const ssize_t count =
        pread(memory.get(), words.data(), words.size() * sizeof words[0], static_cast<off_t>(begin));
    words.resize(count > 0 ? static_cast<std::size_t>(count) / sizeof words[0] : 0);
    return words;
}

}  // namespace

void addSystemItems(Footprint& footprint) {
    addMappings(footprint.kinds["mapping"]);
    addDescriptors(footprint.kinds["descriptor"]);
    addSignalHandlers(footprint.kinds["signalHandler"]);
    addTimers(footprint.kinds["timer"]);
    addEnvironment(footprint.kinds["environment"]);
    footprint.kinds["currentDirectory"][os::posix::linkText(AT_FDCWD, "/proc/self/cwd").value_or("")] = {};
}

std::string threadText(unsigned long thread) {
    const std::string number = std::to_string(thread);
    return number + " (" + lineOf("/proc/self/task/" + number + "/comm") + ")";
}

bool runsNewCode(unsigned long thread, const Footprint& before) {
    const auto stackPointer = stackPointerOf(thread);
    if (!stackPointer) return true;
    const std::vector<Mapping> all = mappings();
    const Mapping* const stack = holding(all, *stackPointer);
    if (!stack) return true;
    const Footprint::Items& known = before.kinds.at("mapping");
    const std::vector<std::uintptr_t> words = wordsAt(*stackPointer, stack->end);
    return words.empty() || std::any_of(words.begin(), words.end(), [&](std::uintptr_t word) {
               const Mapping* const code = holding(all, word);
               return code && code->isCode && code->file.starts_with('/') && known.count(code->file) == 0;
           });
}

}  // namespace qvp::footprint
