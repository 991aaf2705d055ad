// The plugin "scene": owns the spheres. It depends on nothing; everything else depends on it.

#include "../ObjectPool.h"
#include "../PluginState.h"
#include "../Simulation.h"

#include <numbers>

namespace {

using simulation::Sphere;
using simulation::Vector3;

constexpr int kSpheresPerEdge = 3;
constexpr double kFirst = 0.4;      // metres from the wall to the first centre
constexpr double kSpacing = 0.6;    // metres from centre to centre
constexpr double kDensity = 500.0;  // kilograms per cubic metre

/// A small whole number from -2 to 2 that looks random and is the same in every run.
double scatter(int seed) { return seed * seed % 5 - 2; }

Sphere makeSphere(int index) {
    const int column = index % kSpheresPerEdge;
    const int row = index / kSpheresPerEdge % kSpheresPerEdge;
    const int layer = index / (kSpheresPerEdge * kSpheresPerEdge);

    Sphere sphere;
    sphere.radius = 0.12 + 0.02 * (index % 4);
    sphere.mass = kDensity * 4.0 / 3.0 * std::numbers::pi * sphere.radius * sphere.radius * sphere.radius;
    sphere.position = {kFirst + kSpacing * column, kFirst + kSpacing * layer, kFirst + kSpacing * row};
    sphere.velocity = {scatter(index + 1), 0.5 * scatter(3 * index), scatter(index + 7 * layer + row)};
    return sphere;
}

class SphereScene : public simulation::Scene {
public:
    SphereScene() {
        for (int i = 0; i < kSpheresPerEdge * kSpheresPerEdge * kSpheresPerEdge; ++i)
            spheres_.push_back(makeSphere(i));
    }

    Qv::QvArray<Sphere>& spheres() override { return spheres_; }
    const Qv::QvArray<Sphere>& spheres() const override { return spheres_; }
    Vector3 boxSize() const override { return {2.0, 2.0, 2.0}; }
    Vector3 gravity() const override { return {0.0, -9.81, 0.0}; }

private:
    Qv::QvArray<Sphere> spheres_;
};

simulation::PublishedObject<SphereScene> scene;

}  // namespace

bool GetPluginInfo(QvPluginSystem::QvPluginInfo& info) {
    info.name = "scene";
    info.description = "Spheres in a box";
    info.version = Qv::QvVersion(1, 4, 0, 0, "");
    info.compatibilityVersion = Qv::QvVersion(1, 0, 0, 0, "");
    return true;
}

bool InitializePlugin(QvPluginSystem::QvPluginManager& manager, int, char**, std::string*) {
    scene.publish(manager);
    return true;
}

bool UninitializePlugin(QvPluginSystem::QvPluginManager& manager, std::string*) {
    scene.withdraw(manager);
    return true;
}

bool SavePluginState(std::string* state) {
    const auto& spheres = scene.get().spheres();
    *state = simulation::stateOf(spheres.data(), spheres.size());
    return true;
}

bool RestorePluginState(const std::string& state) {
    auto& spheres = scene.get().spheres();
    return simulation::restoreState(state, spheres.data(), spheres.size());
}

const char* GetPluginBuildInfo() { return QV_PLUGIN_BUILD_INFO; }
