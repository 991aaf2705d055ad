// The plugin "recorder": writes down where the spheres of "scene" were at the times of "world".

#include "../ObjectPool.h"
#include "../Simulation.h"

#include <cstddef>
#include <fstream>
#include <iomanip>
#include <sstream>

namespace {

class CsvRecorder : public simulation::Recorder {
public:
    CsvRecorder(const simulation::Scene& scene, const simulation::World& world)
        : scene_(scene), world_(world) {
        table_ << std::fixed << std::setprecision(6) << "time,sphere,x,y,z\n";
    }

    void sample() override {
        const auto& spheres = scene_.spheres();
        for (std::size_t i = 0; i < spheres.size(); ++i) {
            const auto& position = spheres[i].position;
            table_ << world_.time() << ',' << i << ',' << position.x << ',' << position.y << ',' << position.z
                   << '\n';
        }
    }

    bool write(const std::string& path) const override {
        std::ofstream file(path, std::ios::binary);  // the same bytes on every platform
        file << table_.str();
        file.close();
        return !file.fail();
    }

private:
    const simulation::Scene& scene_;
    const simulation::World& world_;
    std::ostringstream table_;
};

simulation::PublishedObject<CsvRecorder> recorder;

}  // namespace

bool GetPluginInfo(QvPluginSystem::QvPluginInfo& info) {
    info.name = "recorder";
    info.description = "Positions as comma-separated values";
    info.version = Qv::QvVersion(1, 0, 0, 0, "");
    info.addDependency({"scene", Qv::QvVersion("1.4")});
    info.addDependency({"world", Qv::QvVersion("1.0")});
    return true;
}

bool InitializePlugin(QvPluginSystem::QvPluginManager& manager, int, char**, std::string*) {
    recorder.publish(manager, simulation::findObject<simulation::Scene>(manager),
                     simulation::findObject<simulation::World>(manager));
    return true;
}

bool UninitializePlugin(QvPluginSystem::QvPluginManager& manager, std::string*) {
    recorder.withdraw(manager);
    return true;
}

const char* GetPluginBuildInfo() { return QV_PLUGIN_BUILD_INFO; }
