// The plugin "world": makes steps out of what "integrator" and "collision" offer.

#include "../ObjectPool.h"
#include "../PluginState.h"
#include "../Simulation.h"

namespace {

struct Progress {
    double time = 0.0;
    int contacts = 0;
};

class SteppedWorld : public simulation::World {
public:
    SteppedWorld(simulation::Integrator& integrator, simulation::CollisionSolver& solver)
        : integrator_(integrator), solver_(solver) {}

    /// Contacts are resolved before anything moves, so that what lies on the floor stays on it.
    void step(double seconds) override {
        integrator_.accelerate(seconds);
        progress_.contacts += solver_.resolve(seconds);
        integrator_.move(seconds);
        progress_.time += seconds;
    }

    double time() const override { return progress_.time; }
    int contactCount() const override { return progress_.contacts; }

    Progress& progress() { return progress_; }

private:
    simulation::Integrator& integrator_;
    simulation::CollisionSolver& solver_;
    Progress progress_;
};

simulation::PublishedObject<SteppedWorld> world;

}  // namespace

bool GetPluginInfo(QvPluginSystem::QvPluginInfo& info) {
    info.name = "world";
    info.description = "Fixed steps";
    info.version = Qv::QvVersion(1, 1, 0, 0, "");
    info.compatibilityVersion = Qv::QvVersion(1, 0, 0, 0, "");
    info.addDependency({"integrator", Qv::QvVersion("1.0")});
    info.addDependency({"collision", Qv::QvVersion("2.0")});
    return true;
}

bool InitializePlugin(QvPluginSystem::QvPluginManager& manager, int, char**, std::string*) {
    world.publish(manager, simulation::findObject<simulation::Integrator>(manager),
                  simulation::findObject<simulation::CollisionSolver>(manager));
    return true;
}

bool UninitializePlugin(QvPluginSystem::QvPluginManager& manager, std::string*) {
    world.withdraw(manager);
    return true;
}

bool SavePluginState(std::string* state) {
    *state = simulation::stateOf(&world.get().progress(), 1);
    return true;
}

bool RestorePluginState(const std::string& state) {
    return simulation::restoreState(state, &world.get().progress(), 1);
}

const char* GetPluginBuildInfo() { return QV_PLUGIN_BUILD_INFO; }
