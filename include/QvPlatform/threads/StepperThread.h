#pragma once

#include <QvPlatform/core/Export.h>

#include <memory>

namespace QvPlatform {

/// A thread that calls `step` repeatedly until `step` returns false or the thread is stopped. It can be
/// paused between steps, and restarted after it has ended.
///
///     class Solver : public QvPlatform::StepperThread {
///     public:
///         ~Solver() override { stop(); }
///     protected:
///         bool step() override { return advance(); }
///     };
///
/// Any thread may call the operations. Within `step`, `stop` requests the end without waiting and `join`
/// returns at once. An exception from `step` ends the thread and writes a line to the standard error stream.
///
/// Trap: the most derived destructor must call `stop`; otherwise `step` may run after that part of the object
/// is destroyed. `destroy` calls `stop` in time. The destructor must not run within `step`.
class QV_API StepperThread {
public:
    enum eState : unsigned int {
        kStopped = 0,  ///< no thread exists
        kRunning = 1,
        kPaused = 2
    };

    StepperThread(const StepperThread&) = delete;
    StepperThread& operator=(const StepperThread&) = delete;

    /// Stops the thread and deletes the object.
    virtual void destroy();
    /// Starts the thread and returns true once it has started; it may already have ended by then. True also
    /// if it was already started. Throws `std::system_error` if the system cannot create a thread or
    /// semaphore.
    virtual bool start();
    /// If true, pauses a running thread after its current step; if false, resumes a paused thread.
    virtual void pause(bool doPause);
    /// Ends the thread after its current step and waits for the end. A paused thread is resumed first and may
    /// run one more step.
    virtual void stop();
    /// Waits until the thread ends; does not request the end.
    virtual void join();
    virtual bool isCurrentThread() const;

    /// The state; may lag by one step.
    eState getThreadState() const;

protected:
    StepperThread();
    virtual ~StepperThread();

    /// Runs one step, on the thread; returning false ends the thread.
    virtual bool step() = 0;

    /// Changes only the result of `getThreadState`.
    void _setThreadState(eState state);

private:
    struct Record;
    void run();
    bool takeStep();

    std::unique_ptr<Record> record_;
};

}  // namespace QvPlatform
