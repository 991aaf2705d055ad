#include "Run.h"

#include "../ObjectPool.h"
#include "CrashReport.h"
#include "SharedFrame.h"

#include <QvPlatform/threads/QvThread.h>
#include <QvPlatform/threads/StepperThread.h>
#include <QvPlatform/time/QvTimer.h>

#include <algorithm>

using simulation::findObject;

namespace {

Measurement measure(const simulation::Scene& scene) {
    Measurement total;
    for (const auto& sphere : scene.spheres()) {
        const double kinetic = 0.5 * sphere.mass * dot(sphere.velocity, sphere.velocity);
        const double potential = -sphere.mass * dot(scene.gravity(), sphere.position);
        total.energy += kinetic + potential;
        total.momentum += sphere.velocity * sphere.mass;
    }
    return total;
}

/// Takes the steps; each is measured, recorded and shared.
class SimulationThread : public QvPlatform::StepperThread {
public:
    SimulationThread(const QvPluginSystem::QvPluginManager& manager, const Options& options)
        : scene_(findObject<simulation::Scene>(manager)),
          world_(findObject<simulation::World>(manager)),
          recorder_(findObject<simulation::Recorder>(manager)),
          options_(options) {
        result_.start = result_.end = measure(scene_);
        recorder_.sample();
    }
    ~SimulationThread() override { stop(); }

    const RunResult& result() const { return result_; }

protected:
    bool step() override {
        if (options_.realtime) waitForItsTime();
        if (options_.crash && result_.steps == options_.steps / 2) crashOnPurpose();
        world_.step(1.0 / kStepsPerSecond);
        recorder_.sample();
        const Measurement now = measure(scene_);
        result_.greatestRise = std::max(result_.greatestRise, now.energy - result_.end.energy);
        result_.end = now;
        ++result_.steps;
        result_.contacts = world_.contactCount();
        shared_.write({result_.steps, options_.steps, result_.contacts, now});
        return result_.steps < options_.steps;
    }

private:
    void waitForItsTime() const {
        const double seconds = static_cast<double>(result_.steps) / kStepsPerSecond - timer_.getTime();
        if (seconds > 0.0) Qv::QvThreadMicroSleep(static_cast<unsigned long>(seconds * 1e6));
    }

    const simulation::Scene& scene_;
    simulation::World& world_;
    simulation::Recorder& recorder_;
    SharedFrame shared_;
    Qv::QvTimer timer_{true};
    RunResult result_;
    const Options& options_;
};

}  // namespace

RunResult runSimulation(const QvPluginSystem::QvPluginManager& manager, const Options& options) {
    SimulationThread thread(manager, options);
    Qv::QvTimer timer(true);
    thread.start();
    thread.join();
    RunResult result = thread.result();
    result.seconds = timer.stop();
    return result;
}
