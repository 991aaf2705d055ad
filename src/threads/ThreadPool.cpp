#include <QvPlatform/threads/ThreadPool.h>

#include <QvPlatform/threads/QvThread.h>

#include "os/ProcessLock.h"

#include <oneapi/tbb/task_group.h>
#include <mutex>

namespace QvPlatform {
namespace {

constexpr os::ProcessLock kPoolLock{os::LockRank::threadPool};

/// Guarded by the lock. Never destroyed: the pool may outlive every static object that refers to it.
Qv::QvWeakPtr<ThreadPool>& currentPool() {
    static auto& pool = *new Qv::QvWeakPtr<ThreadPool>;
    return pool;
}

void runAll(tbb::task_group& group, const std::vector<ThreadPool::WorkUnit*>& units) {
    for (ThreadPool::WorkUnit* unit : units) {
        if (unit) group.run([unit] { unit->run(); });
    }
}

}  // namespace

ThreadPool::WorkUnit::WorkUnit() = default;
ThreadPool::WorkUnit::~WorkUnit() = default;

ThreadPool::ThreadPool(unsigned int threadCount) : threadCount_(threadCount) {}
ThreadPool::~ThreadPool() = default;

Qv::QvSmartPtr<ThreadPool> ThreadPool::instance(unsigned int threadCount) {
    const std::lock_guard guard(kPoolLock);
    if (auto existing = currentPool().lock()) return existing;
    if (threadCount == 0) threadCount = static_cast<unsigned int>(Qv::QvThreadGetCPUCount());
    Qv::QvSmartPtr<ThreadPool> created(new ThreadPool(threadCount));
    currentPool() = created;
    return created;
}

unsigned int ThreadPool::getThreadCount() const { return threadCount_; }

// The isolated context keeps a batch apart from the one around it, whose cancellation would end it too.
void ThreadPool::execute(const std::vector<WorkUnit*>& units) {
    tbb::task_group_context context(tbb::task_group_context::isolated);
    tbb::task_group group(context);
    try {
        runAll(group, units);
    } catch (...) {
        group.cancel();
        group.wait();
        throw;
    }
    group.wait();
}

}  // namespace QvPlatform
