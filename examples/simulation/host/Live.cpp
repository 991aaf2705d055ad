#include "Live.h"

#include "../ObjectPool.h"
#include "../Simulation.h"
#include "CrashReport.h"
#include "Report.h"

#include <QvPlatform/threads/QvThread.h>
#include <QvPlatform/time/QvTimer.h>

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <sstream>

using simulation::findObject;

namespace {

void printState(int step, const simulation::Scene& scene, const simulation::World& world) {
    double height = 0.0;
    double speed = 0.0;
    for (const auto& sphere : scene.spheres()) {
        height += sphere.position.y / static_cast<double>(scene.spheres().size());
        speed = std::max(speed, length(sphere.velocity));
    }
    std::ostringstream text;
    text << std::fixed << std::setprecision(2) << "mean height " << height << " m   fastest " << speed
         << " m/s   contacts " << world.contactCount();
    printLine(std::to_string(step / kStepsPerSecond) + " s", text.str());
    std::cout.flush();
}

// No reference to an object is kept from one step to the next, because its plugin may be reloaded between
// them.
void takeStep(const QvPluginSystem::QvPluginManager& manager, int step) {
    auto& world = findObject<simulation::World>(manager);
    world.step(1.0 / kStepsPerSecond);
    if (step % kStepsPerSecond == 0) printState(step, findObject<simulation::Scene>(manager), world);
}

}  // namespace

void runLive(const QvPluginSystem::QvPluginManager& manager, QvPluginSystem::QvPluginReloader& reloader,
             const Options& options) {
    printHeading("Live");
    std::string error;
    if (!reloader.watch(QvPluginSystem::QvPluginReloader::NewFiles::ignore, &error))
        printLine("watch", error);
    const Qv::QvTimer timer(true);
    for (int step = 0; step < options.steps; ++step) {
        for (const auto& result : reloader.poll()) std::cout << result.text() << std::flush;
        if (options.crash && step == options.steps / 2) crashOnPurpose();
        takeStep(manager, step);
        const double seconds = static_cast<double>(step + 1) / kStepsPerSecond - timer.getTime();
        if (seconds > 0.0) Qv::QvThreadMicroSleep(static_cast<unsigned long>(seconds * 1e6));
    }
}
