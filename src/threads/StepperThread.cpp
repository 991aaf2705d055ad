// The worker loops: `enterStep` (waits while `isHeld`), `step` under `stepLock`, then `passGate`. Between two
// steps it holds only `runLock` and, for a moment, `pauseGate`. Pausing is a flag, not a lock held by the
// pauser, so any thread can resume. Lock order: startLock, runLock, pauseGate, stepLock, endLock.
//
// `isHeld` and `isWaiting` change under `stepLock`; `state` too, except when a run begins and in
// `_setThreadState`. A pauser takes `pauseGate` before `stepLock`: the worker then blocks in `passGate`
// instead of taking `stepLock` again and again before the pauser.
//
// Runs are numbered, so `stop` and `join` wait for the run that they saw and not for a later one. `end` runs
// also when the thread is unwound, and its last action unlocks `runLock`; the destructor waits for that lock.
// If no thread or semaphore can be created, `start` throws and the state stays `kStopped`.

#include <QvPlatform/threads/StepperThread.h>

#include "base/ForcedUnwind.h"
#include "os/CriticalSection.h"
#include "os/OutputStream.h"
#include "os/Semaphore.h"
#include "os/Thread.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <new>
#include <string>
#include <system_error>
#include <utility>

namespace QvPlatform {
namespace {

// Writes in pieces only if memory is exhausted; another thread's text may then come between them.
void report(const char* what) {
    constexpr const char* kBegin = "StepperThread exception thrown in thread: ";
    try {
        os::writeToStandardError(std::string(kBegin) + what + "\n");
    } catch (const std::bad_alloc&) {
        for (const char* piece : {kBegin, what, "\n"}) os::writeToStandardError(piece);
    }
}

}  // namespace

struct StepperThread::Record {
    std::mutex startLock;
    os::CriticalSection runLock;    ///< held by the worker during its whole run
    os::CriticalSection stepLock;   ///< held by the worker while a step runs
    os::CriticalSection pauseGate;  ///< keeps the worker from stepLock while a pauser waits for it
    os::Semaphore started{0};
    os::Semaphore resumed{0};
    bool isHeld = false;     ///< the worker must not begin a step
    bool isWaiting = false;  ///< the worker waits for `resumed`
    std::mutex endLock;
    std::condition_variable ended;
    std::uint64_t runsBegun = 0;  ///< guarded by `endLock`, like `runsEnded`
    std::uint64_t runsEnded = 0;
    std::atomic<bool> stopRequested{true};
    std::atomic<std::uint32_t> workerId{0};
    std::atomic<eState> state{kStopped};

    bool isWorker() const { return workerId == os::currentThreadId(); }

    void lift() {
        const std::lock_guard guard(stepLock);
        isHeld = false;
        if (std::exchange(isWaiting, false)) resumed.release();
    }

    /// Locks `stepLock`, after waiting while the worker is held.
    std::unique_lock<os::CriticalSection> enterStep() {
        std::unique_lock guard(stepLock);
        while (isHeld) {
            isWaiting = true;
            guard.unlock();
            resumed.acquire();
            guard.lock();
        }
        return guard;
    }

    void passGate() { const std::lock_guard guard(pauseGate); }

    /// The current run, or the last one. Read after the state, so that it is not an older run.
    std::uint64_t currentRun() {
        const std::lock_guard guard(endLock);
        return runsBegun;
    }

    /// Asks the current run, but no later one, to end. Returns its number.
    std::uint64_t requestStop() {
        const std::lock_guard guard(endLock);
        stopRequested = true;
        return runsBegun;
    }

    /// Waits for the end of that run; returns at once on the worker itself.
    void waitForEndOf(std::uint64_t run) {
        if (isWorker()) return;
        std::unique_lock guard(endLock);
        ended.wait(guard, [&] { return runsEnded >= run; });
    }

    void begin() {
        runLock.lock();
        {
            const std::lock_guard guard(endLock);
            ++runsBegun;
            stopRequested = false;
        }
        workerId = os::currentThreadId();
        state = kRunning;
        started.release();
    }

    /// Once `runLock` is released, the record may be freed.
    void end() {
        {
            const std::lock_guard guard(stepLock);
            stopRequested = true;
            isHeld = false;
            workerId = 0;
            state = kStopped;
        }
        {
            const std::lock_guard guard(endLock);
            ++runsEnded;
            ended.notify_all();
        }
        runLock.unlock();
    }
};

StepperThread::StepperThread() : record_(std::make_unique<Record>()) {}

StepperThread::~StepperThread() {
    record_->stopRequested = true;
    record_->lift();
    const std::lock_guard afterTheLastWorker(record_->runLock);
}

void StepperThread::destroy() {
    if (record_->state != kStopped) stop();
    delete this;
}

bool StepperThread::start() {
    if (record_->state != kStopped) return true;
    const std::lock_guard guard(record_->startLock);
    if (record_->state != kStopped) return true;
    // Without it, this function would not wait for the worker, nor would the destructor.
    if (!record_->started.isValid() || !record_->resumed.isValid())
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
    {
        const std::lock_guard afterTheLastWorker(record_->runLock);
        const auto work = [](void* self) {
            static_cast<StepperThread*>(self)->run();
            return 0U;
        };
        os::startThread(work, this);
    }
    record_->started.acquire();
    return true;
}

void StepperThread::run() {
    // Ends the run also when the system unwinds the thread's stack to end it.
    struct Life {
        explicit Life(Record& owner) : record(owner) { record.begin(); }
        Life(const Life&) = delete;
        Life& operator=(const Life&) = delete;
        ~Life() { record.end(); }
        Record& record;
    };
    const Life life(*record_);
    bool goesOn = true;
    while (goesOn) {
        const bool again = takeStep();
        record_->passGate();
        goesOn = again && !record_->stopRequested;
    }
}

bool StepperThread::takeStep() {
    const auto guard = record_->enterStep();
    try {
        return step();
    } catch (const base::ForcedUnwind&) {
        throw;
    } catch (const std::exception& exception) {
        report(exception.what());
    } catch (...) {
        os::writeToStandardError("StepperThread unknown exception thrown in thread\n");
    }
    return false;
}

void StepperThread::pause(bool doPause) {
    Record& record = *record_;
    if (record.state != (doPause ? kRunning : kPaused)) return;
    if (!doPause) {
        const std::lock_guard guard(record.stepLock);
        if (record.state != kPaused) return;
        record.state = kRunning;
        record.lift();
        return;
    }
    std::unique_lock gate(record.pauseGate, std::defer_lock);
    // The worker holds stepLock already, and the thread that holds the gate may be waiting for it.
    if (!record.isWorker()) gate.lock();
    const std::lock_guard guard(record.stepLock);
    if (record.state != kRunning || record.stopRequested) return;
    record.isHeld = true;
    record.state = kPaused;
}

void StepperThread::stop() {
    if (record_->state == kStopped) return;
    const std::uint64_t run = record_->requestStop();
    if (record_->state == kPaused) pause(false);
    record_->lift();
    record_->waitForEndOf(run);
}

void StepperThread::join() {
    if (record_->state != kStopped) record_->waitForEndOf(record_->currentRun());
}

bool StepperThread::isCurrentThread() const { return record_->isWorker(); }

StepperThread::eState StepperThread::getThreadState() const { return record_->state; }

void StepperThread::_setThreadState(eState state) { record_->state = state; }

}  // namespace QvPlatform
