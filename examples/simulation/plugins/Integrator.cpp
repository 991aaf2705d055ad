// The plugin "integrator": moves the spheres of "scene".

#include "../ObjectPool.h"
#include "../Simulation.h"

namespace {

/// Semi-implicit Euler: the new velocity, and not the old one, moves the body. In free fall that loses
/// g*g*dt*dt/2 of energy per kilogram and step, and never gains any.
class SemiImplicitEuler : public simulation::Integrator {
public:
    explicit SemiImplicitEuler(simulation::Scene& scene) : scene_(scene) {}

    void accelerate(double seconds) override {
        for (auto& sphere : scene_.spheres()) sphere.velocity += scene_.gravity() * seconds;
    }

    void move(double seconds) override {
        for (auto& sphere : scene_.spheres()) sphere.position += sphere.velocity * seconds;
    }

private:
    simulation::Scene& scene_;
};

simulation::PublishedObject<SemiImplicitEuler> integrator;

}  // namespace

bool GetPluginInfo(QvPluginSystem::QvPluginInfo& info) {
    info.name = "integrator";
    info.description = "Semi-implicit Euler integration";
    info.version = Qv::QvVersion(1, 0, 2, 0, "");
    info.compatibilityVersion = Qv::QvVersion(1, 0, 0, 0, "");
    info.addDependency({"scene", Qv::QvVersion("1.0")});
    return true;
}

bool InitializePlugin(QvPluginSystem::QvPluginManager& manager, int, char**, std::string*) {
    integrator.publish(manager, simulation::findObject<simulation::Scene>(manager));
    return true;
}

bool UninitializePlugin(QvPluginSystem::QvPluginManager& manager, std::string*) {
    integrator.withdraw(manager);
    return true;
}

const char* GetPluginBuildInfo() { return QV_PLUGIN_BUILD_INFO; }
