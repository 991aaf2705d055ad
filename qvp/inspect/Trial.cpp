#include "inspect/ChildSupport.h"
#include "inspect/InspectReport.h"
#include "inspect/Inspection.h"

#include <QvPlatform/filesystem/File.h>

#include <utility>

namespace qvp {
namespace {

using nlohmann::json;

// The value of the line's `key`, if it has one.
template <typename Value>
void take(const json& line, const char* key, Value& value) {
    if (const auto found = line.find(key); found != line.end()) value = found->get<Value>();
}

void beginRound(unsigned round, Trial& trial) {
    trial.rounds = round;
    trial.initialized = trial.uninitialized = trial.unmapped = false;
    trial.phases.clear();
}

// The system itself opens handles in the first round, at its first use of something.
void addLeftover(const json& line, Trial& trial) {
    const bool isSystems = line.at("leftover") == "handle" && trial.rounds < 2;
    if (!isSystems && trial.leftovers.size() < kMostLeftovers)
        trial.leftovers.push_back({line.at("leftover"), line.at("text"), trial.rounds});
}

void takeLine(const json& line, Trial& trial) {
    take(line, "initialized", trial.initialized);
    take(line, "uninitialized", trial.uninitialized);
    take(line, "unmapped", trial.unmapped);
    take(line, "begin", trial.currentPhase);
    take(line, "order", trial.order);
    take(line, "published", trial.published);
    take(line, "left", trial.left);
    take(line, "stack", trial.crashStack);
    if (line.contains("round")) beginRound(line.at("round"), trial);
    if (line.contains("leftover")) addLeftover(line, trial);
    if (const auto phase = line.find("phase"); phase != line.end()) {
        if (*phase == kPhaseOfEnd)
            trial.isFinished = true;
        else
            trial.phases.push_back({*phase, line.at("seconds")});
    }
    if (line.contains("failure"))
        trial.failures.push_back({line.at("file"), line.at("plugin"), line.at("failure")});
}

}  // namespace

Trial tryPlugin(const TrialRequest& request, std::chrono::milliseconds limit) {
    Trial trial;
    TrialRequest whole = request;
    whole.file = QvPlatform::File(request.file).toUniversalPath();
    bool isStarted = false;
    const auto nextTask = [&]() -> std::optional<ChildTask> {
        if (std::exchange(isStarted, true)) return std::nullopt;
        return ChildTask{argumentsOf(whole), [&](ChildEnd end) { trial.end = std::move(end); }};
    };
    runChildren(nextTask, {limit, 1});
    takeLines(linesOf(trial.end.report), [&](const json& line) { takeLine(line, trial); });
    return trial;
}

}  // namespace qvp
