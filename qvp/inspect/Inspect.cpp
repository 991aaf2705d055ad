// A child inspects several files, one after the other, because starting a process takes longer than looking
// at a plugin. Its first file is judged by whatever happens. The others run where plugins have been before,
// so only a good result counts; a file that had another one, or was not reached, becomes the first of the
// next child.

#include "inspect/ChildSupport.h"
#include "inspect/InspectReport.h"
#include "inspect/Inspection.h"
#include "inspect/Steps.h"

#include <algorithm>
#include <cstddef>
#include <deque>
#include <iterator>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

namespace qvp {
namespace {

constexpr std::size_t kMostFilesOfChild = 32;

struct Job {
    std::size_t index = 0;
    Inspection inspection;
};

using Jobs = std::vector<Job>;

class Inspector {
public:
    Inspector(const std::vector<std::string>& files, Depth depth, const ChildLimits& limits,
              const std::function<void(std::size_t, Inspection)>& onInspected)
        : files_(files), depth_(depth), limits_(limits), onInspected_(onInspected) {}

    void run() {
        runChildren([this] { return nextTask(); }, limits_);
    }

private:
    std::optional<ChildTask> nextTask() {
        // Only inspections whose child is running are kept in memory.
        const auto jobs = std::make_shared<Jobs>();
        while (jobs->size() < filesOfChild() && takeJob(*jobs)) {
        }
        if (jobs->empty()) return std::nullopt;
        std::vector<std::string> arguments{kInspectArgument};
        for (const Job& job : *jobs) arguments.push_back(job.inspection.file.path);
        return ChildTask{std::move(arguments), [this, jobs](const ChildEnd& end) { take(*jobs, end); }};
    }

    // All processors are to be busy to the end. What a plugin prints is known only if it is alone.
    std::size_t filesOfChild() const {
        if (depth_ == Depth::everything) return 1;
        const std::size_t left = waiting_.size() + files_.size() - next_;
        const std::size_t processors = std::max(1U, std::thread::hardware_concurrency());
        return std::clamp(left / (4 * processors), std::size_t{1}, kMostFilesOfChild);
    }

    // A file that reading has shown to be faulty comes first in its child.
    bool takeJob(Jobs& jobs) {
        if (waiting_.empty() && !readNext()) return false;
        if (!jobs.empty() && waiting_.front().inspection.firstStep(StepState::failed)) return false;
        jobs.push_back(std::move(waiting_.front()));
        waiting_.pop_front();
        return true;
    }

    // Reads files up to one that has to be opened.
    bool readNext() {
        while (next_ < files_.size()) {
            Job job{next_++, {}};
            if (takeStaticSteps(files_[job.index], depth_, job.inspection)) {
                waiting_.push_back(std::move(job));
                return true;
            }
            deliver(job);
        }
        return false;
    }

    void take(Jobs& jobs, const ChildEnd& end) {
        auto lines = linesByFile(end.report);
        lines.resize(jobs.size());
        std::size_t judged = 0;
        do {
            takeReport(lines[judged], end, limits_, jobs[judged].inspection);
            ++judged;
        } while (judged < jobs.size() && isWell(lines[judged]));
        const auto others = jobs.begin() + static_cast<std::ptrdiff_t>(judged);
        waiting_.insert(waiting_.begin(), std::make_move_iterator(others),
                        std::make_move_iterator(jobs.end()));
        for (auto job = jobs.begin(); job != others; ++job) deliver(*job);
    }

    void deliver(Job& job) {
        if (depth_ == Depth::everything) {
            findSymbolsThatLoaderMissed(job.inspection);
        } else {
            dropDetails(job.inspection);
        }
        onInspected_(job.index, std::move(job.inspection));
    }

    static void findSymbolsThatLoaderMissed(Inspection& inspection) {
        const Step* const failed = inspection.firstStep(StepState::failed);
        if (failed && failed->name == StepName::opened && failed->misdeed == Misdeed::none)
            inspection.missingSymbols = findMissingSymbols(inspection.file, inspection.libraries);
    }

    const std::vector<std::string>& files_;
    Depth depth_;
    const ChildLimits& limits_;
    const std::function<void(std::size_t, Inspection)>& onInspected_;
    std::size_t next_ = 0;     // in `files_`
    std::deque<Job> waiting_;  // read, to be opened
};

}  // namespace

void inspect(const std::vector<std::string>& files, Depth depth, const ChildLimits& limits,
             const std::function<void(std::size_t, Inspection)>& onInspected) {
    Inspector(files, depth, limits, onInspected).run();
}

}  // namespace qvp
