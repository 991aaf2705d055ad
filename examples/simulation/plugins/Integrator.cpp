// The plugin "integrator": moves the spheres of "scene".

#include "../ObjectPool.h"
#include "../Simulation.h"

#include <QvPlatform/threads/ThreadPool.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace {

using simulation::Sphere;

constexpr std::size_t kSpheresPerUnit = 9;

/// Does the same to each of some neighbouring spheres.
template <typename Change>
class SphereRange : public QvPlatform::ThreadPool::WorkUnit {
public:
    SphereRange(Sphere* first, std::size_t count, const Change& change)
        : first_(first), count_(count), change_(change) {}

    void run() override { std::for_each(first_, first_ + count_, change_); }

private:
    Sphere* first_;
    std::size_t count_;
    const Change& change_;
};

/// Semi-implicit Euler: the new velocity, and not the old one, moves the body. In free fall that loses
/// g*g*dt*dt/2 of energy per kilogram and step, and never gains any.
class SemiImplicitEuler : public simulation::Integrator {
public:
    explicit SemiImplicitEuler(simulation::Scene& scene) : scene_(scene) {}

    void accelerate(double seconds) override {
        const auto change = scene_.gravity() * seconds;
        forEachSphere([&](Sphere& sphere) { sphere.velocity += change; });
    }

    void move(double seconds) override {
        forEachSphere([&](Sphere& sphere) { sphere.position += sphere.velocity * seconds; });
    }

private:
    /// In parallel: no sphere's change depends on another sphere.
    template <typename Change>
    void forEachSphere(const Change& change) {
        auto& spheres = scene_.spheres();
        std::vector<std::unique_ptr<SphereRange<Change>>> ranges;
        std::vector<QvPlatform::ThreadPool::WorkUnit*> units;
        for (std::size_t first = 0; first < spheres.size(); first += kSpheresPerUnit) {
            const std::size_t count = std::min(kSpheresPerUnit, spheres.size() - first);
            ranges.push_back(std::make_unique<SphereRange<Change>>(&spheres[first], count, change));
            units.push_back(ranges.back().get());
        }
        pool_->execute(units);
    }

    simulation::Scene& scene_;
    Qv::QvSmartPtr<QvPlatform::ThreadPool> pool_ = QvPlatform::ThreadPool::instance(0);
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
