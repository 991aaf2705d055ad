#pragma once

#include <QvPlatform/core/Export.h>

#include <memory>

namespace QvPlatform {

/// A thread that calls `step` over and over, until a step says that it was the last one or somebody stops
/// the thread. It can be paused between steps, and started again after its end.
///
///     class Solver : public QvPlatform::StepperThread {
///     public:
///         ~Solver() override { stop(); }
///     protected:
///         bool step() override { return advance(); }
///     };
///
/// Any thread may call its operations, also `step` itself, in which `stop` asks for the end without waiting
/// for it and `join` returns at once. What `step` throws ends the thread, with a line on the standard error
/// stream. Trap: the most derived destructor must call `stop`, or else a step may still be due when its
/// part of the object is gone; `destroy` does so in time. The destructor must not run within `step`.
class QV_API StepperThread {
public:
    enum eState : unsigned int {
        kStopped = 0,  ///< there is no thread
        kRunning = 1,
        kPaused = 2
    };

    StepperThread(const StepperThread&) = delete;
    StepperThread& operator=(const StepperThread&) = delete;

    /// Stops the thread and deletes the object.
    virtual void destroy();
    /// Starts the thread and returns when it runs, though it may have ended by then; true also when there
    /// was one already. Throws `std::system_error` when the system has no thread to give.
    virtual bool start();
    /// True pauses a running thread, after the step that is under way; false resumes a paused one.
    virtual void pause(bool doPause);
    /// Lets the step that is under way end, and with it the thread; resumes a paused one first, which may
    /// take one more step.
    virtual void stop();
    /// Waits until the thread ends by itself.
    virtual void join();
    virtual bool isCurrentThread() const;

    /// What may be out of date by one step.
    eState getThreadState() const;

protected:
    StepperThread();
    virtual ~StepperThread();

    /// One step, on the thread; false asks for the end.
    virtual bool step() = 0;

    /// Changes what `getThreadState` says and nothing else.
    void _setThreadState(eState state);

private:
    struct Record;
    void run();
    bool takeStep();

    std::unique_ptr<Record> record_;
};

}  // namespace QvPlatform
