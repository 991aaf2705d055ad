#include "inspect/InspectReport.h"

#include "inspect/Steps.h"

#include <cstddef>
#include <sstream>
#include <utility>

namespace qvp {
namespace {

using nlohmann::json;
using QvPluginSystem::QvPluginInfo;

json toJson(const Qv::QvVersion& version) {
    return {version.major, version.minor, version.servicePack, version.build, version.label};
}

Qv::QvVersion versionFrom(const json& value) {
    return {value.at(0), value.at(1), value.at(2), value.at(3), value.at(4)};
}

constexpr std::string QvPluginInfo::*kTexts[] = {
    &QvPluginInfo::name,      &QvPluginInfo::displayName, &QvPluginInfo::description, &QvPluginInfo::vendor,
    &QvPluginInfo::copyright, &QvPluginInfo::path,        &QvPluginInfo::url,         &QvPluginInfo::group};

struct CallWords {
    StepName step;
    const char* during;    ///< after "its code crashed", "it called exit(1)"
    const char* unending;  ///< after "it did not"
};

CallWords wordsOf(Call call) {
    switch (call) {
        case Call::getPluginBuildInfo:
            return {StepName::buildInformation, "in GetPluginBuildInfo", "return from GetPluginBuildInfo"};
        case Call::getPluginInfo:
            return {StepName::descriptor, "in GetPluginInfo", "return from GetPluginInfo"};
        case Call::open:
            break;
    }
    return {StepName::opened, "while it was opened", "open"};
}

std::string secondsText(std::chrono::milliseconds time) {
    std::ostringstream text;
    text << std::chrono::duration<double>(time).count() << " s";
    return text.str();
}

void takeLine(const json& line, Inspection& inspection) {
    if (const auto found = line.find("entryPointsFound"); found != line.end())
        inspection.entryPointsFound = found->get<std::vector<std::string>>();
    if (const auto missing = line.find("entryPointsMissing"); missing != line.end())
        inspection.entryPointsMissing = missing->get<std::vector<std::string>>();
    if (const auto text = line.find("buildInformation"); text != line.end())
        inspection.buildInformation = text->get<std::string>();
    if (const auto info = line.find("descriptor"); info != line.end())
        inspection.descriptor = infoFrom(*info);
    if (const auto failed = line.find("failed"); failed != line.end())
        failAt(inspection, static_cast<StepName>(failed->get<int>()), line.at("error"), line.at("text"));
}

// The call that was under way when the child ended early.
Call lastCall(const std::vector<json>& lines) {
    Call call = Call::open;
    for (const json& line : lines) call = static_cast<Call>(line.value("begin", static_cast<int>(call)));
    return call;
}

bool isWhole(const std::vector<json>& lines) {
    return !lines.empty() && (lines.back().contains("whole") || lines.back().contains("failed"));
}

}  // namespace

void writeReport(const json& line) {
    writeReportLine(line.dump(-1, ' ', false, json::error_handler_t::replace));
}

void reportBegin(Call call) { writeReport({{"begin", static_cast<int>(call)}}); }

void reportFailure(StepName step, int errorNumber, const std::string& text) {
    writeReport({{"failed", static_cast<int>(step)}, {"error", errorNumber}, {"text", text}});
}

std::vector<json> linesOf(const std::string& report) {
    std::vector<json> lines;
    std::istringstream input(report);
    for (std::string line; std::getline(input, line);) {
        json parsed = json::parse(line, nullptr, false);
        if (parsed.is_object()) lines.push_back(std::move(parsed));
    }
    return lines;
}

json toJson(const QvPluginInfo& info) {
    json dependencies = json::array();
    for (const auto& dependency : info.dependencies)
        dependencies.push_back({dependency.name, toJson(dependency.version)});
    json texts = json::array();
    for (const auto member : kTexts) texts.push_back(info.*member);
    return {{"texts", texts},
            {"version", toJson(info.version)},
            {"compatibilityVersion", toJson(info.compatibilityVersion)},
            {"dependencies", dependencies}};
}

QvPluginInfo infoFrom(const json& value) {
    QvPluginInfo info;
    std::size_t index = 0;
    for (const auto member : kTexts) info.*member = value.at("texts").at(index++).get<std::string>();
    info.version = versionFrom(value.at("version"));
    info.compatibilityVersion = versionFrom(value.at("compatibilityVersion"));
    for (const json& dependency : value.at("dependencies"))
        info.addDependency({dependency.at(0).get<std::string>(), versionFrom(dependency.at(1))});
    return info;
}

void takeReport(const ChildEnd& end, const ChildLimits& limits, Inspection& inspection) {
    setAllSteps(inspection);
    inspection.printed = end.output;
    const std::vector<json> lines = linesOf(end.report);
    for (const json& line : lines) takeLine(line, inspection);
    if (isWhole(lines)) return;
    const CallWords words = wordsOf(lastCall(lines));
    const auto fail = [&](const std::string& text) {
        const bool isSystemError = end.kind == ChildEnd::Kind::notStarted;
        failAt(inspection, words.step, isSystemError ? end.code : 0, text);
    };
    switch (end.kind) {
        case ChildEnd::Kind::crashed:
            return fail(std::string("its code crashed ") + words.during + ": " + end.text);
        case ChildEnd::Kind::timedOut:
            return fail(std::string("did not ") + words.unending + " within " + secondsText(limits.time));
        case ChildEnd::Kind::exited:
            return fail("called exit(" + std::to_string(end.code) + ") " + words.during);
        case ChildEnd::Kind::notStarted:
            return fail("no process could be started to examine it: " + end.text);
    }
}

}  // namespace qvp
