#pragma once

#include "inspect/Inspection.h"

#include <nlohmann/json.hpp>

#include <string>

/// The report that a child writes about a file, line by line, and how the parent reads it. A line before each
/// call into the plugin and one after it tell the parent what the child was doing when it ended.
namespace qvp {

/// The calls into the plugin, in order.
enum class Call { open, getPluginBuildInfo, getPluginInfo };

/// For the child. Invalid UTF-8 is replaced.
void reportFile();  ///< what follows is about its next file
void reportBegin(Call call);
void reportFailure(StepName step, const std::string& text, Misdeed misdeed = Misdeed::none);
void writeReport(const nlohmann::json& line);

/// The lines of a report; lines that are not complete JSON objects are omitted.
std::vector<nlohmann::json> linesOf(const std::string& report);

/// Calls `take` for each line and skips the rest of a line with a value that is missing or has another type:
/// a plugin can write into the memory of the report.
template <typename Take>
void takeLines(const std::vector<nlohmann::json>& lines, Take take) {
    for (const nlohmann::json& line : lines) {
        try {
            take(line);
        } catch (const nlohmann::json::exception&) {
            continue;
        }
    }
}

/// A text that a plugin may have made as long as it likes, cut to 64 KiB.
std::string bounded(std::string text);
nlohmann::json toJson(const QvPluginSystem::QvPluginInfo& info);
QvPluginSystem::QvPluginInfo infoFrom(const nlohmann::json& value);

/// "called exit(3)", or what else is known about a child that ended without a signal.
std::string exitText(const ChildEnd& end);

/// The lines about each file that the child has begun, in order.
std::vector<std::vector<nlohmann::json>> linesByFile(const std::string& report);

/// True if these lines say that all steps of the file are OK.
bool isWell(const std::vector<nlohmann::json>& lines);

/// Adds the lines about the file, and the way in which the child ended if it ended over this file.
void takeReport(const std::vector<nlohmann::json>& lines, const ChildEnd& end, const ChildLimits& limits,
                Inspection& inspection);

}  // namespace qvp
