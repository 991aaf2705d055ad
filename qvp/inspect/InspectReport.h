#pragma once

#include "inspect/Inspection.h"

#include <nlohmann/json.hpp>

#include <string>

/// What the child that looks at a file writes, line by line, and how the parent reads it. A line before and
/// one after each call into the plugin tells where it was when the child ended.
namespace qvp {

/// The calls, in their order.
enum class Call { open, getPluginBuildInfo, getPluginInfo };

/// In the child. Texts that are not UTF-8 are written with replacements.
void reportBegin(Call call);
void reportFailure(StepName step, int errorNumber, const std::string& text);
void writeReport(const nlohmann::json& line);

/// The lines of a report; what is no whole JSON object is left out.
std::vector<nlohmann::json> linesOf(const std::string& report);

nlohmann::json toJson(const QvPluginSystem::QvPluginInfo& info);
QvPluginSystem::QvPluginInfo infoFrom(const nlohmann::json& value);

/// Adds to the inspection what the child has reported, and how it ended.
void takeReport(const ChildEnd& end, const ChildLimits& limits, Inspection& inspection);

}  // namespace qvp
