#include "Report.h"

#include <QvPlatform/filesystem/Directory.h>

#include <iomanip>
#include <iostream>
#include <sstream>

using QvPluginSystem::QvPluginInfo;

namespace {

constexpr int kNameWidth = 12;

struct PluginRow {
    std::string name, version, useCount, explicitlyLoaded, needs;
};

void printRow(const PluginRow& row) {
    std::cout << "  " << std::left << std::setw(kNameWidth) << row.name << std::setw(10) << row.version
              << std::setw(6) << row.useCount << std::setw(10) << row.explicitlyLoaded << row.needs << '\n';
}

std::string dependenciesOf(const QvPluginInfo& info) {
    std::vector<std::string> texts;
    for (const auto& dependency : info.getDependencies())
        texts.push_back(dependency.name + ' ' + dependency.version.toString());
    return texts.empty() ? "-" : joined(texts);
}

}  // namespace

void printHeading(const std::string& text) { std::cout << '\n' << text << '\n'; }

void printLine(const std::string& name, const std::string& text) {
    std::cout << "  " << std::left << std::setw(kNameWidth) << name << text << '\n';
}

void printSearchDirectories(const QvPluginSystem::QvPluginManager& manager) {
    printHeading("Search directories");
    for (const auto& text : manager.getPluginSearchDirs()) {
        const QvPlatform::Directory directory(text);
        std::cout << "  " << directory.toNativePath() << (directory.exists() ? "" : "  (does not exist)")
                  << '\n';
    }
}

void printRefusals(const HostListener::Refusals& refusals) {
    printHeading("Refused by the manager");
    for (const auto& [name, reasons] : refusals)
        for (const auto& reason : reasons) printLine(name, reason);
}

void printPlugins(const std::vector<QvPluginInfo>& plugins) {
    printHeading("Loaded, in load order (uses: its dependents, and one more for the host's own request)");
    printRow({"name", "version", "uses", "explicit", "needs"});
    for (const auto& info : plugins)
        printRow({info.getName(), info.getVersion().toString(), std::to_string(info.getUseCount()),
                  info.explicitlyLoaded ? "yes" : "no", dependenciesOf(info)});
}

std::string measurementText(const Measurement& measurement) {
    const auto& momentum = measurement.momentum;
    std::ostringstream text;
    text << std::fixed << std::setprecision(1) << std::right << "energy " << std::setw(8)
         << measurement.energy << " J   momentum (" << std::setw(7) << momentum.x << ',' << std::setw(7)
         << momentum.y << ',' << std::setw(7) << momentum.z << ") kg m/s";
    return text.str();
}

void printRun(const RunResult& run) {
    printHeading("Simulation of " + std::to_string(run.steps) + " steps, " + std::to_string(kStepsPerSecond) +
                 " to the second");
    printLine("start", measurementText(run.start));
    printLine("end", measurementText(run.end));
    printLine("contacts", std::to_string(run.contacts));
    printLine("speed", std::to_string(static_cast<long>(run.steps / run.seconds)) + " steps a second");
}

std::string joined(const std::vector<std::string>& texts) {
    std::string result;
    for (const auto& text : texts) result += (result.empty() ? "" : ", ") + text;
    return result;
}
