// The plugin "collision": makes the spheres of "scene" bounce.

#include "../ObjectPool.h"
#include "../Simulation.h"

#include <cmath>
#include <cstddef>

namespace {

using simulation::Sphere;
using simulation::Vector3;

constexpr double kRestitution = 0.7;  // the part of the approaching speed that a bounce gives back

/// Looks one step ahead: a contact is a gap that would close within the step, so that nothing sinks in.
class ImpulseSolver : public simulation::CollisionSolver {
public:
    explicit ImpulseSolver(simulation::Scene& scene) : scene_(scene) {}

    int resolve(double seconds) override {
        seconds_ = seconds;
        restingSpeed_ = 2.0 * length(scene_.gravity()) * seconds / (1.0 - kRestitution);
        auto& spheres = scene_.spheres();
        int contacts = 0;
        for (std::size_t i = 0; i < spheres.size(); ++i)
            for (std::size_t j = i + 1; j < spheres.size(); ++j) contacts += collide(spheres[i], spheres[j]);
        for (auto& sphere : spheres) contacts += collideWithBox(sphere);
        return contacts;
    }

private:
    bool inContact(double gap, double approaching) const {
        return approaching > 0.0 && gap < approaching * seconds_;
    }

    /// A bounce that is slower than gravity can undo within a step would gain height, and with it energy:
    /// what comes that slowly comes to rest.
    double restitution(double approaching) const { return approaching > restingSpeed_ ? kRestitution : 0.0; }

    int collide(Sphere& a, Sphere& b) const {
        const Vector3 offset = b.position - a.position;
        const double distance = length(offset);
        const Vector3 normal = distance > 0.0 ? offset * (1.0 / distance) : Vector3{0.0, 1.0, 0.0};
        const double approaching = dot(a.velocity - b.velocity, normal);
        if (!inContact(distance - a.radius - b.radius, approaching)) return 0;

        const double impulse = (1.0 + restitution(approaching)) * approaching / (1.0 / a.mass + 1.0 / b.mass);
        a.velocity += normal * (-impulse / a.mass);
        b.velocity += normal * (impulse / b.mass);
        return 1;
    }

    int collideWithBox(Sphere& sphere) const {
        const Vector3 size = scene_.boxSize();
        int contacts = 0;
        for (const auto axis : {&Vector3::x, &Vector3::y, &Vector3::z}) {
            const double position = sphere.position.*axis;
            double& velocity = sphere.velocity.*axis;
            const bool atWall = inContact(position - sphere.radius, -velocity) ||
                                inContact(size.*axis - position - sphere.radius, velocity);
            if (!atWall) continue;
            velocity *= -restitution(std::abs(velocity));
            ++contacts;
        }
        return contacts;
    }

    simulation::Scene& scene_;
    double seconds_ = 0.0;
    double restingSpeed_ = 0.0;
};

simulation::PublishedObject<ImpulseSolver> solver;

}  // namespace

bool GetPluginInfo(QvPluginSystem::QvPluginInfo& info) {
    info.name = "collision";
    info.description = "Impulses between spheres and walls";
    info.version = Qv::QvVersion(2, 1, 0, 0, "");
    info.compatibilityVersion = Qv::QvVersion(2, 0, 0, 0, "");
    info.addDependency({"scene", Qv::QvVersion("1.2")});
    return true;
}

bool InitializePlugin(QvPluginSystem::QvPluginManager& manager, int, char**, std::string*) {
    solver.publish(manager, simulation::findObject<simulation::Scene>(manager));
    return true;
}

bool UninitializePlugin(QvPluginSystem::QvPluginManager& manager, std::string*) {
    solver.withdraw(manager);
    return true;
}

const char* GetPluginBuildInfo() { return QV_PLUGIN_BUILD_INFO; }
