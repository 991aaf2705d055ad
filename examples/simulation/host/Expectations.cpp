#include "Expectations.h"

#include <algorithm>
#include <iostream>
#include <iterator>
#include <map>

using QvPluginSystem::QvPluginInfo;

namespace {

const std::map<std::string, int> kUseCounts = {
    {"scene", 4}, {"integrator", 2}, {"collision", 2}, {"world", 2}, {"recorder", 1}};

/// "hinge" and "motor" need each other: if one is loaded first, the other one closes the cycle.
const HostListener::Refusals kRefusals = {
    {"fluid", {"Could not find dependent plugin turbulence"}},
    {"hinge",
     {"Circular dependency detected with motor",
      "The following dependency has not been initialized : motor"}},
    {"legacy",
     {"Plugin file could not be loaded : The plugin legacy was built in debug mode while Quorex was built in "
      "debug mode"}},
    {"motor",
     {"Circular dependency detected with hinge",
      "The following dependency has not been initialized : hinge"}},
    {"ragdoll", {"scene is not compatible. Expected version 9.0.0.0"}}};

std::vector<std::string> namesOf(const std::vector<QvPluginInfo>& plugins) {
    std::vector<std::string> names;
    names.reserve(plugins.size());
    for (const auto& info : plugins) names.push_back(info.getName());
    return names;
}

/// Whether `order` names each of the plugins once, and each after those that it needs.
bool dependenciesComeFirst(const std::vector<QvPluginInfo>& plugins, const std::vector<std::string>& order) {
    const auto position = [&order](const std::string& name) {
        return std::distance(order.begin(), std::find(order.begin(), order.end(), name));
    };
    const auto names = namesOf(plugins);
    return std::is_permutation(order.begin(), order.end(), names.begin(), names.end()) &&
           std::all_of(plugins.begin(), plugins.end(), [&](const QvPluginInfo& info) {
               const auto& needed = info.getDependencies();
               return std::all_of(needed.begin(), needed.end(), [&](const auto& dependency) {
                   return position(dependency.name) < position(info.getName());
               });
           });
}

}  // namespace

void Expectations::expect(bool condition, const std::string& what) {
    if (condition) return;
    met_ = false;
    std::cerr << "Not as expected: " << what << '\n';
}

void Expectations::checkLoading(const std::vector<QvPluginInfo>& queue, const HostListener& listener) {
    std::map<std::string, int> useCounts;
    for (const auto& info : queue) useCounts[info.getName()] = info.getUseCount();
    expect(useCounts == kUseCounts, "the loaded plugins and their use counts");
    expect(dependenciesComeFirst(queue, namesOf(queue)), "the load order");
    expect(listener.refusals() == kRefusals, "the refused plugins and their reasons");
    expect(listener.keptOut() == std::set<std::string>{"telemetry"}, "the plugins that the listener vetoes");
}

void Expectations::checkRun(const RunResult& run) {
    const double roundingError = 1e-12 * run.start.energy;
    expect(run.greatestRise <= roundingError, "the energy grows");
    expect(run.contacts > 0, "nothing ever touches");
}

void Expectations::checkUnloadOrder(const std::vector<QvPluginInfo>& plugins,
                                    const std::vector<std::string>& order) {
    expect(dependenciesComeFirst(plugins, {order.rbegin(), order.rend()}), "the unload order");
}
