// Does what its arguments say, for tests that start programs:
//   arguments FILE [ARGUMENT]...   writes the arguments, one per line
//   surroundings FILE              writes what it inherited from the program that started it
//   name FILE [PROGRAM]            removes PROGRAM and writes its own name
//   bias MINUTES                   fails when local time has another bias
//   exit CODE | signal NUMBER | sleep MILLISECONDS
//   wait FILE                      makes FILE.here, waits for FILE, makes FILE.done
//   log FILE BASE LINES            the same, but logs numbered lines first
//   churn KEY COUNTER [forks]      opens, locks, fills and closes KEY until killed; counts in COUNTER
//   meet KEY MEETING PROCESSES     opens and closes KEY 100 times along with other processes

#include <QvPlatform/diagnostics/Log.h>
#include <QvPlatform/diagnostics/LogFile.h>
#include <QvPlatform/filesystem/Environment.h>
#include <QvPlatform/system/Process.h>

#include "support/ChildProgram.h"
#include "support/SharedSegment.h"

#include <csignal>
#include <iostream>
#include <sstream>
#include <vector>

#ifndef _WIN32
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

// The file appears only when it is complete.
void publish(const std::string& path, const std::string& text) {
    support::writeFile(path + ".part", text);
    std::filesystem::rename(support::pathOf(path + ".part"), support::pathOf(path));
}

std::string surroundings() {
    std::ostringstream text;
    text << support::textOf(std::filesystem::current_path()) << "\n" << QvPlatform::getEnv("QV_CHILD_TEST");
#ifndef _WIN32
    text << "\ninput " << std::cin.rdbuf() << "\ndescriptors";
    for (int descriptor = 0; descriptor < 1024; ++descriptor)
        if (fcntl(descriptor, F_GETFD) != -1) text << " " << descriptor;
    text << "\nblocked or ignored signals";
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    for (int number = 1; number < 32; ++number) {
        struct sigaction action {};
        sigaction(number, nullptr, &action);
        if (sigismember(&blocked, number) != 0 || action.sa_handler == SIG_IGN) text << " " << number;
    }
#endif
    return text.str();
}

void log(const std::string& baseName, int lines) {
    if (!std::freopen(support::kWindows ? "NUL" : "/dev/null", "w", stderr)) return;
    Qv::LogSetExpiration(0);
    Qv::setLogFile(baseName);
    for (int line = 0; line < lines; ++line) Qv::LogInfo("0/%d\n", line);
}

// The memory of another process's segment. This process may be killed while it has the lock.
bool isUsableInFork(support::SharedSegment<support::SharedBlock>& block) {
#ifndef _WIN32
    const pid_t copy = fork();
    if (copy == 0) {
        block.lock();
        std::fill_n(block->begin(), block.size(), 'f');
        if (getpid() % 2 == 0) block.close();
        _exit(0);
    }
    int status = -1;
    return waitpid(copy, &status, 0) == copy && status == 0;
#else
    return block.isOpen();
#endif
}

// A count of 0 means that it failed, or that no process is left to kill it.
void churn(const std::string& key, const std::string& counterKey, bool forks) {
    Qv::LogSetLevel(Qv::kLogLevelError);
    support::SharedSegment<support::SharedWord> counter;
    support::SharedSegment<support::SharedBlock> block, twin, failing;
    if (!counter.open(counterKey)) return;
    for (; *counter < 1'000'000; ++*counter) {
        if (!support::kWindows && failing.open(key, std::size_t{1} << 44U)) break;
        if (!block.open(key, 60'000) || !twin.open(key, 60'000) || failing.open(key, 100'000)) break;
        if (forks && *counter % 8 == 4 && !isUsableInFork(block)) break;
        for (auto* locked : {&block, &twin, &block}) locked->lock();
        std::fill_n(block->begin(), block.size(), 'x');
        if (support::kWindows) block.unlock(), block.unlock();  // a closed segment stays locked there
        block.close();
        if (*counter % 8 == 0) std::this_thread::sleep_for(std::chrono::microseconds(1));
        twin.unlock();
        twin.close();
    }
    *counter = 0;
}

int meet(const std::string& key, const std::string& meetingKey, unsigned long processes) {
    support::SharedSegment<support::Meeting> meeting;
    support::SharedSegment<support::SharedWord> segment;
    if (!meeting.open(meetingKey)) return 1;
    const std::uint64_t number = ++meeting->present;
    if (!support::comesTrue([&] { return meeting->present == processes; })) return 2;
    for (std::uint64_t visit = 1; visit <= 100; ++visit) {
        if (!segment.open(key)) return 3;
        segment.lock();
        if (segment->exchange(1) == 0 && meeting->holders != 0) return 4;  // an older one is still open
        ++meeting->holders;
        const std::uint64_t visits = meeting->visits;
        std::this_thread::yield();
        meeting->visits = visits + 1;
        segment.unlock();
        --meeting->holders;
        segment.close();
        std::this_thread::sleep_for(std::chrono::microseconds(visit * number * 37 % 5'000));
    }
    return 0;
}

int run(const std::vector<std::string>& words) {
    const std::string& command = words.at(1);
    const std::string& what = words.at(2);
    Qv::LogSetLevel(Qv::kLogLevelInfo);
    if (command == "churn") churn(what, words.at(3), words.size() > 4);
    if (command == "meet") return meet(what, words.at(3), std::stoul(words.at(4)));
    if (command == "exit") return std::stoi(what);
    if (command == "bias") return QvSim::Process::getLocalTimeUTCBias() == std::stol(what) ? 0 : 1;
    if (command == "signal") return std::raise(std::stoi(what));
    if (command == "sleep") std::this_thread::sleep_for(std::chrono::milliseconds(std::stoi(what)));
    if (command == "surroundings") publish(what, surroundings());
    if (command == "name") {
        if (words.size() > 3) std::filesystem::remove(support::pathOf(words[3]));
        publish(what, QvSim::Process::getProcessFileName());
    }
    if (command == "arguments") {
        std::string lines;
        for (std::size_t i = 3; i < words.size(); ++i) lines += words[i] + "\n";
        publish(what, lines);
    }
    if (command == "log") log(words.at(3), std::stoi(words.at(4)));
    if (command == "log" || command == "wait") {
        publish(what + ".here", "");
        support::appears(what);
        publish(what + ".done", "");
    }
    return 0;
}

}  // namespace

#ifdef _WIN32
int wmain(int count, wchar_t** values) {
#else
int main(int count, char** values) {
#endif
    std::vector<std::string> words;
    for (int i = 0; i < count; ++i) {
        const std::u8string text = std::filesystem::path(values[i]).u8string();
        words.emplace_back(text.begin(), text.end());
    }
    return run(words);
}
