#include <QvPlatform/system/CPU.h>

#include "os/Thread.h"
#include "system/CPUDetection.h"

namespace QvPlatform::CPU {
namespace {

constinit detail::CpuFlags flags{};

// Runs when the library is loaded, before any query.
[[maybe_unused]] const bool isDetected = [] {
    flags = detail::detectCpu(base::cpuId);
    detail::reportCpu(flags);
    return true;
}();

}  // namespace

int getCoreCount() { return os::processorCount(); }

#define QV_DEFINE_QUERY(name, leaf, reg, bit) \
    bool is_##name##_supported() { return flags[detail::name]; }
QV_PUBLIC_CPU_FEATURES(QV_DEFINE_QUERY)
#undef QV_DEFINE_QUERY

}  // namespace QvPlatform::CPU
