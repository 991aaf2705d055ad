#include "Run.h"

#include "../ObjectPool.h"

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

}  // namespace

RunResult runSimulation(const QvPluginSystem::QvPluginManager& manager, int steps) {
    const auto& scene = findObject<simulation::Scene>(manager);
    auto& world = findObject<simulation::World>(manager);
    auto& recorder = findObject<simulation::Recorder>(manager);

    RunResult result;
    result.start = result.end = measure(scene);
    recorder.sample();
    for (int i = 0; i < steps; ++i) {
        world.step(1.0 / kStepsPerSecond);
        recorder.sample();
        const Measurement now = measure(scene);
        result.greatestRise = std::max(result.greatestRise, now.energy - result.end.energy);
        result.end = now;
    }
    result.steps = steps;
    result.contacts = world.contactCount();
    return result;
}
