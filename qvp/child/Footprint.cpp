#include "child/Footprint.h"

#include <QvPlatform/diagnostics/CallStackViewer.h>
#include <QvPlatform/system/Process.h>

#include <chrono>
#include <thread>

namespace qvp {
namespace {

constexpr const char* kMapping = "mapping";

std::set<unsigned long> currentThreads() {
    const auto threads = QvPlatform::CallStackViewer::getThreadIds(QvSim::Process::getProcessID());
    return {threads.begin(), threads.end()};
}

std::vector<unsigned long> newThreads(const Footprint& before) {
    std::vector<unsigned long> threads;
    for (const unsigned long thread : currentThreads()) {
        if (before.threads.count(thread) == 0) threads.push_back(thread);
    }
    return threads;
}

std::string withValue(const std::string& name, const std::string& value) {
    return value.empty() ? name : name + " (" + value + ")";
}

void compare(const std::string& kind, const Footprint::Items& before, const Footprint::Items& after,
             std::vector<Leftover>& leftovers) {
    for (const auto& [name, value] : after) {
        const auto old = before.find(name);
        // A number of handles that has become smaller is no leftover.
        const bool isFewer = kind == "handle" && old != before.end() &&
                             (value.size() < old->second.size() ||
                              (value.size() == old->second.size() && value < old->second));
        if (isFewer) continue;
        if (old == before.end() || old->second != value) leftovers.push_back({kind, withValue(name, value)});
    }
    if (kind != "environment" && kind != "descriptor") return;
    for (const auto& [name, value] : before) {
        if (after.count(name) == 0)
            leftovers.push_back({kind, name + (kind == "descriptor" ? " (closed)" : " (removed)")});
    }
}

}  // namespace

Footprint takeFootprint() {
    Footprint footprint;
    footprint.threads = currentThreads();
    footprint::addSystemItems(footprint);
    return footprint;
}

std::vector<Leftover> leftoverThreads(const Footprint& before) {
    // A thread that was joined may be in the system's list for a moment.
    for (int i = 0; i < 50 && !newThreads(before).empty(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::vector<Leftover> leftovers;
    for (const unsigned long thread : newThreads(before)) {
        if (footprint::runsNewCode(thread, before))
            leftovers.push_back({"thread", footprint::threadText(thread)});
    }
    return leftovers;
}

std::vector<Leftover> leftoversSince(const Footprint& before, bool withMappings) {
    const Footprint after = takeFootprint();
    std::vector<Leftover> leftovers;
    for (const auto& [kind, items] : after.kinds) {
        const auto old = before.kinds.find(kind);
        if (kind == kMapping && !withMappings) continue;
        compare(kind, old == before.kinds.end() ? Footprint::Items() : old->second, items, leftovers);
    }
    return leftovers;
}

bool isUnchangedSince(const Footprint& before) {
    return newThreads(before).empty() && leftoversSince(before, true).empty();
}

}  // namespace qvp
