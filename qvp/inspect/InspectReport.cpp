#include "inspect/InspectReport.h"

#include "inspect/Steps.h"

#include <algorithm>
#include <cstddef>
#include <optional>
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
        failAt(inspection, static_cast<StepName>(failed->get<int>()), 0, line.at("text"),
               static_cast<Misdeed>(line.at("misdeed").get<int>()));
    if (const auto said = line.find("line"); said != line.end())
        inspection.managersLine = said->get<std::string>();
}

// The call that was under way when the child ended early.
Call lastCall(const std::vector<json>& lines) {
    Call call = Call::open;
    takeLines(lines, [&](const json& line) {
        call = static_cast<Call>(line.value("begin", static_cast<int>(call)));
    });
    return call;
}

bool isWhole(const std::vector<json>& lines) {
    return std::any_of(lines.begin(), lines.end(),
                       [](const json& line) { return line.contains("whole") || line.contains("failed"); });
}

}  // namespace

void writeReport(const json& line) {
    writeReportLine(line.dump(-1, ' ', false, json::error_handler_t::replace));
}

void reportFile() { writeReport({{"file", true}}); }

void reportBegin(Call call) { writeReport({{"begin", static_cast<int>(call)}}); }

void reportFailure(StepName step, const std::string& text, Misdeed misdeed) {
    writeReport({{"failed", static_cast<int>(step)},
                 {"text", bounded(text)},
                 {"misdeed", static_cast<int>(misdeed)}});
}

std::string bounded(std::string text) {
    constexpr std::size_t kMost = std::size_t{64} << 10U;
    if (text.size() <= kMost) return text;
    const std::size_t size = text.size();
    text.resize(kMost);
    return text + " ... (" + std::to_string(size) + " bytes)";
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
    for (const auto member : kTexts) texts.push_back(bounded(info.*member));
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

namespace {

// The child ended during a call, or was never started.
void takeEnd(const ChildEnd& end, const CallWords& words, const ChildLimits& limits, Inspection& inspection) {
    const std::string during = std::string(" ") + words.during;
    switch (end.kind) {
        case ChildEnd::Kind::crashed:
            return failAt(inspection, words.step, 0, "its code crashed" + during + ": " + end.text,
                          Misdeed::crashed);
        case ChildEnd::Kind::timedOut:
            return failAt(inspection, words.step, 0,
                          std::string("did not ") + words.unending + " within " + secondsText(limits.time),
                          Misdeed::hung);
        case ChildEnd::Kind::exited:
            return failAt(inspection, words.step, 0, exitText(end) + during, Misdeed::exited);
        case ChildEnd::Kind::notStarted:
            return failAt(inspection, words.step, end.code,
                          "no process could be started to examine it: " + end.text);
    }
}

bool wasOpened(const std::vector<json>& lines) {
    return std::any_of(lines.begin(), lines.end(),
                       [](const json& line) { return line.contains("entryPointsFound"); });
}

}  // namespace

std::string exitText(const ChildEnd& end) {
    const std::string status = std::to_string(end.code);
    if (end.isReportFull)
        return "gave answers of more than 16 MiB, and its process ended with status " + status;
    if (end.calledExit) return "called exit(" + status + ")";
    return "its process ended with status " + status +
           ", neither by a signal nor by exit() (by _exit(), or by the loader itself)";
}

std::vector<std::vector<json>> linesByFile(const std::string& report) {
    std::vector<std::vector<json>> files;
    for (json& line : linesOf(report)) {
        if (line.contains("file")) files.emplace_back();
        if (!files.empty()) files.back().push_back(std::move(line));
    }
    return files;
}

bool isWell(const std::vector<json>& lines) { return !lines.empty() && lines.back().contains("whole"); }

void takeReport(const std::vector<json>& lines, const ChildEnd& end, const ChildLimits& limits,
                Inspection& inspection) {
    inspection.printed = end.output;
    const Step* const failed = inspection.firstStep(StepState::failed);
    const std::optional<Step> read =
        failed && !wasOpened(lines) ? std::optional<Step>(*failed) : std::nullopt;
    setAllSteps(inspection);
    takeLines(lines, [&](const json& line) { takeLine(line, inspection); });
    if (!isWhole(lines)) takeEnd(end, wordsOf(lastCall(lines)), limits, inspection);
    // What reading has shown is nearer to the cause than the loader's message.
    if (read) failAt(inspection, read->name, read->errorNumber, read->text);
}

}  // namespace qvp
