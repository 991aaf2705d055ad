#include <QvPlatform/filesystem/Directory.h>
#include <QvPlatform/system/Process.h>

#include "soak/Soak.h"
#include "support/SharedSegment.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <random>
#include <thread>
#include <vector>

namespace {

using soak::require;
namespace Process = QvSim::Process;

std::string ownProgram() { return "\"" + Process::getProcessFileName() + "\""; }

// What the members do under the lock. A member that is killed there leaves its number in `inside`.
struct Shared {
    std::atomic<int> inside;
    std::atomic<long> rounds, takenOver, intruders;
    std::atomic<long> values[512];  // equal, unless the last holder was killed
};
using Segment = support::SharedSegment<Shared>;

void changeUnderLock(Segment& segment) {
    const int self = static_cast<int>(getpid());
    segment.lock();
    Shared& shared = *segment;
    if (shared.inside.exchange(self) != 0) {
        ++shared.takenOver;
        for (auto& value : shared.values) value = shared.rounds.load();
    }
    const long round = shared.rounds++;
    for (auto& value : shared.values) {
        if (value.load() != round) ++shared.intruders;
        value.store(round + 1);
    }
    if (shared.inside.exchange(0) != self) ++shared.intruders;
    segment.unlock();
}

class Members {
public:
    explicit Members(std::string key) : key_(std::move(key)) {}
    Members(const Members&) = delete;
    Members& operator=(const Members&) = delete;
    ~Members() {
        while (!running_.empty()) killOne();
    }

    void start() {
        running_.push_back(Process::execute(ownProgram(), "--member " + key_));
        require(running_.back(), "a process is started");
    }
    void killOne() {
        std::swap(running_[random_() % running_.size()], running_.back());
        Process::kill(running_.back());
        Process::destroyProcessHandle(running_.back());
        running_.pop_back();
    }
    void waitShortly() { std::this_thread::sleep_for(std::chrono::microseconds(random_() % 4000)); }
    std::size_t size() const { return running_.size(); }

private:
    std::string key_;
    std::minstd_rand random_{1};
    std::vector<Process::ProcessHandle*> running_;
};

// The segment is new, whatever earlier members left, and used by members until all of them are killed.
// Returns how often a dead member's lock was taken over.
long shareWith(const std::string& key, long count) {
    constexpr std::size_t kAtOnce = 6;
    Segment segment;
    require(segment.open(key), "the segment opens");
    require(segment->rounds == 0, "a segment whose users were all killed is made anew");
    Members members(key);
    for (long i = 0; i < count; ++i) {
        members.start();
        members.waitShortly();
        if (members.size() == kAtOnce) members.killOne();
        changeUnderLock(segment);
        soak::showLife();
    }
    require(segment->intruders == 0, "one process at a time is under the lock");
    require(segment->rounds >= count, "the members get the lock");
    const long takenOver = segment->takenOver;
    segment.close();  // the last users are killed, and leave it
    return takenOver;
}

void killUsers(long count) {
    constexpr long kPerSegment = 100;
    const std::string key = "soak-" + std::to_string(getpid());
    long takenOver = 0;
    for (long done = 0; done < count; done += kPerSegment)
        takenOver += shareWith(key, std::min(kPerSegment, count - done));
    require(takenOver > 0 || count < 1000, "members are killed under the lock");
    Segment last;
    require(last.open(key) && last->rounds == 0, "what the killed left is removed");
}

// Half of them are killed, the others end by themselves, some of them unobserved.
void spawnAtOnce(long count) {
    constexpr long kAtOnce = 1000;
    for (long done = 0; done < count; done += kAtOnce) {
        std::vector<Process::ProcessHandle*> children;
        for (long i = 0; i < std::min(kAtOnce, count - done); ++i) {
            children.push_back(i % 2 == 0 ? Process::execute("sleep", "600") : Process::execute("true", ""));
            require(children.back(), "a child is started");
        }
        soak::showLife();
        for (std::size_t i = 0; i < children.size(); ++i) {
            if (i % 4 != 3) Process::kill(children[i]);
            Process::destroyProcessHandle(children[i]);
        }
    }
    siginfo_t ended{};  // those that are not observed are reaped when another one is started
    while (waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT) == 0) {
        std::int64_t code = -1;
        require(Process::shellExecute("true", "", false, true, &code) && code == 0, "a child ends well");
    }
}

}  // namespace

int soak::runMember(const std::string& segment) {
    std::signal(SIGALRM, SIG_DFL);
    Segment shared;
    if (!shared.open(segment)) return 1;
    alarm(600);
    for (;;) changeUnderLock(shared);
}

const soak::Part soak::kProcesses = {"processes", "processes killed while they share memory", 10'000,
                                     killUsers};
const soak::Part soak::kChildren = {"children", "children, up to a thousand at once", 10'000, spawnAtOnce};
