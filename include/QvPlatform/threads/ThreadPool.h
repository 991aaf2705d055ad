#pragma once

#include <QvPlatform/core/Export.h>
#include <QvPlatform/core/QvRefCount.h>
#include <QvPlatform/core/QvSmartPtr.h>

#include <vector>

namespace QvPlatform {

/// Runs batches of independent work in parallel, on oneTBB's worker threads.
///
///     const auto pool = QvPlatform::ThreadPool::instance(0);
///     pool->execute(units);
///
/// The process has one pool, which exists as long as it is referenced. Any thread may call the operations;
/// `execute` may also be called from within a unit.
class QV_API ThreadPool : public Qv::QvRefCount {
public:
    /// One piece of work. The caller owns it and must keep it until `execute` returns.
    class QV_API WorkUnit {
    public:
        WorkUnit();
        WorkUnit(const WorkUnit&) = delete;
        WorkUnit& operator=(const WorkUnit&) = delete;
        virtual ~WorkUnit();

        /// Called once by each `execute`, on any thread. May throw.
        virtual void run() = 0;

    private:
        // Keeps the object's size, on which compiled clients depend.
        [[maybe_unused]] void* reserved_ = nullptr;
    };

    /// Returns the pool; creates it if there is none. `threadCount` is used only on creation; 0 means one
    /// thread per logical processor.
    static Qv::QvSmartPtr<ThreadPool> instance(unsigned int threadCount);

    /// The thread count set on creation. It does not limit the number of worker threads.
    unsigned int getThreadCount() const;

    /// Runs every unit once and returns when all have ended. If a unit throws, units that have not started
    /// are not run, and the first exception is rethrown after the running units have ended. Null pointers are
    /// skipped.
    void execute(const std::vector<WorkUnit*>& units);

protected:
    ~ThreadPool() override;

private:
    explicit ThreadPool(unsigned int threadCount);

    unsigned int threadCount_;
};

}  // namespace QvPlatform
