#pragma once

#include <QvPlatform/core/Export.h>
#include <QvPlatform/core/QvRefCount.h>
#include <QvPlatform/core/QvSmartPtr.h>

#include <vector>

namespace QvPlatform {

/// Runs batches of independent work in parallel, on the threads that oneTBB keeps for the process.
///
///     const auto pool = QvPlatform::ThreadPool::instance(0);
///     pool->execute(units);
///
/// There is one pool as long as somebody holds it. Any thread may call its operations, `execute` also
/// from within a unit.
class QV_API ThreadPool : public Qv::QvRefCount {
public:
    /// One piece of work. The caller owns it and keeps it until `execute` has returned.
    class QV_API WorkUnit {
    public:
        WorkUnit();
        WorkUnit(const WorkUnit&) = delete;
        WorkUnit& operator=(const WorkUnit&) = delete;
        virtual ~WorkUnit();

        /// Called once by each `execute`, on any thread. May throw.
        virtual void run() = 0;

    private:
        // Keeps the object's size for those who were compiled against it.
        [[maybe_unused]] void* reserved_ = nullptr;
    };

    /// The pool, made when there is none; only then `threadCount` counts, of which 0 stands for the number
    /// of logical processors.
    static Qv::QvSmartPtr<ThreadPool> instance(unsigned int threadCount);

    /// The count that the pool was made with. It does not limit how many threads work.
    unsigned int getThreadCount() const;

    /// Runs every unit once and returns when all have ended. When one throws, those that have not begun are
    /// not run, and the first exception is thrown on after the others have ended. Null pointers are
    /// skipped.
    void execute(const std::vector<WorkUnit*>& units);

protected:
    ~ThreadPool() override;

private:
    explicit ThreadPool(unsigned int threadCount);

    unsigned int threadCount_;
};

}  // namespace QvPlatform
