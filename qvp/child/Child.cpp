#include "child/Child.h"

#include "child/RunningChild.h"

#include <QvPlatform/filesystem/Directory.h>
#include <QvPlatform/filesystem/File.h>

#include <algorithm>
#include <thread>
#include <utility>

namespace qvp {
namespace {

using Clock = std::chrono::steady_clock;

unsigned childrenAtATime(const ChildLimits& limits) {
    const unsigned wanted = limits.parallel != 0 ? limits.parallel : std::thread::hardware_concurrency();
    return std::clamp(wanted, 1U, RunningChild::kMost);
}

class ChildPool {
public:
    ChildPool(const std::function<std::optional<ChildTask>()>& nextTask, const ChildLimits& limits)
        : nextTask_(nextTask), time_(limits.time), size_(childrenAtATime(limits)) {}

    void run() {
        for (fill(); !places_.empty(); fill()) {
            wait();
            for (Place& ended : takeEnded()) {
                isExhausted_ = false;  // what it reports may lead to another task
                ended.onEnd(ended.child.end());
            }
        }
    }

private:
    struct Place {
        RunningChild child;
        std::function<void(ChildEnd)> onEnd;
        Clock::time_point start;

        // Most likely it will use up its time.
        bool onlyWaits() const {
            constexpr std::chrono::milliseconds kPatience{300};
            const auto age = Clock::now() - start;
            return age > kPatience && child.processorTime() < age / 10;
        }
    };

    void fill() {
        while (!isExhausted_ && places_.size() < RunningChild::kMost && workingChildren() < size_) {
            std::optional<ChildTask> task = nextTask_();
            isExhausted_ = !task;
            if (task) start(std::move(*task));
        }
    }

    std::size_t workingChildren() const {
        return static_cast<std::size_t>(std::count_if(places_.begin(), places_.end(),
                                                      [](const Place& place) { return !place.onlyWaits(); }));
    }

    void start(ChildTask task) {
        auto started = RunningChild::start(task.arguments);
        if (auto* failure = std::get_if<ChildEnd>(&started)) return task.onEnd(std::move(*failure));
        places_.push_back({std::move(std::get<RunningChild>(started)), std::move(task.onEnd), Clock::now()});
    }

    void wait() {
        std::vector<RunningChild*> children;
        for (Place& place : places_) children.push_back(&place.child);
        // All have the same time, so the oldest's is over first. If more are to be started, waits in short
        // pieces, to see which ones only wait.
        constexpr std::chrono::milliseconds kPiece{100};
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(places_.front().start + time_ - Clock::now());
        RunningChild::wait(children, std::clamp(left, std::chrono::milliseconds(0),
                                                isExhausted_ ? std::chrono::milliseconds::max() : kPiece));
    }

    // They are out of the list before anyone is told, who may throw.
    std::vector<Place> takeEnded() {
        const auto now = Clock::now();
        std::vector<Place> ended;
        std::vector<Place> others;
        for (Place& place : places_) {
            const bool isOver = place.child.hasEnded() || now >= place.start + time_;
            (isOver ? ended : others).push_back(std::move(place));
        }
        places_ = std::move(others);
        return ended;
    }

    const std::function<std::optional<ChildTask>()>& nextTask_;
    std::chrono::milliseconds time_;
    std::size_t size_;
    std::vector<Place> places_;
    bool isExhausted_ = false;
};

}  // namespace

// A plain host holds no library but the product's and the C++ ones. This program may hold others, by which a
// plugin that forgot to link them would work here only.
std::string hostProgram() {
    using QvPlatform::Directory;
    const Directory own(Directory::kExecutableDirectory);
    std::string neighbour = own.file(QVP_HOST_FILE).toUniversalPath();
    if (QvPlatform::File(neighbour).exists()) return neighbour;
    return own.directory(QVP_HOST_FOLDER).file(QVP_HOST_FILE).toUniversalPath();
}

void runChildren(const std::function<std::optional<ChildTask>()>& nextTask, const ChildLimits& limits) {
    ChildPool(nextTask, limits).run();
}

}  // namespace qvp
