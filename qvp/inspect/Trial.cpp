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

void takeLine(const json& line, Trial& trial) {
    take(line, "initialized", trial.initialized);
    take(line, "uninitialized", trial.uninitialized);
    take(line, "unmapped", trial.unmapped);
    take(line, "order", trial.order);
    take(line, "published", trial.published);
    take(line, "left", trial.left);
    take(line, "stack", trial.crashStack);
    if (line.contains("phase")) trial.phases.push_back({line.at("phase"), line.at("seconds")});
    if (line.contains("failure"))
        trial.failures.push_back({line.at("file"), line.at("plugin"), line.at("failure")});
}

}  // namespace

Trial tryPlugin(const std::string& file, const std::vector<std::string>& directories,
                bool withDefaultDirectory, std::chrono::milliseconds limit) {
    Trial trial;
    std::vector<std::string> arguments{
        kTryArgument, withDefaultDirectory ? kWithDefaultDirectory : kWithoutDefaultDirectory,
        QvPlatform::File(file).toUniversalPath()};
    arguments.insert(arguments.end(), directories.begin(), directories.end());
    bool isStarted = false;
    const auto nextTask = [&]() -> std::optional<ChildTask> {
        if (std::exchange(isStarted, true)) return std::nullopt;
        return ChildTask{arguments, [&](ChildEnd end) { trial.end = std::move(end); }};
    };
    runChildren(nextTask, {limit, 1});
    for (const json& line : linesOf(trial.end.report)) takeLine(line, trial);
    return trial;
}

}  // namespace qvp
