#include <QvPlatform/threads/StepperThread.h>

#include "support/ChildProgram.h"
#include "support/MemoryLimit.h"
#include "support/StandardError.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <random>

namespace {

using QvPlatform::StepperThread;
using support::comesTrue;
using enum StepperThread::eState;

struct Stepper : StepperThread {
    explicit Stepper(std::function<bool(Stepper&)> function) : work(std::move(function)) {}
    ~Stepper() override { stop(); }
    void pause(bool doPause) override {
        if (!doPause) ++resumptions;
        StepperThread::pause(doPause);
    }
    bool step() override {
        EXPECT_TRUE(isCurrentThread());
        ++steps;
        return work(*this);
    }

    const std::function<bool(Stepper&)> work;
    std::atomic<int> steps{0};
    std::atomic<int> resumptions{0};
};

using Operation = void (*)(Stepper&);
void start(Stepper& stepper) { EXPECT_TRUE(stepper.start()); }
void pause(Stepper& stepper) { stepper.pause(true); }
void resume(Stepper& stepper) { stepper.pause(false); }
void stop(Stepper& stepper) { stepper.stop(); }
void join(Stepper& stepper) { stepper.join(); }

void expectState(const Stepper& stepper, StepperThread::eState state) {
    EXPECT_TRUE(stepper.getThreadState() == state && !stepper.isCurrentThread());
    const int before = stepper.steps;
    if (state != kRunning) std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_TRUE(comesTrue([&] { return (stepper.steps > before) == (state == kRunning); }));
}

TEST(StepperThread, obeysAnyThreadBetweenSteps) {
    const std::pair<Operation, StepperThread::eState> operations[] = {
        {stop, kStopped},   {join, kStopped},   {pause, kStopped}, {resume, kStopped}, {start, kRunning},
        {start, kRunning},  {resume, kRunning}, {pause, kPaused},  {pause, kPaused},   {start, kPaused},
        {resume, kRunning}, {stop, kStopped},   {start, kRunning}, {pause, kPaused},   {stop, kStopped}};
    std::atomic<bool> isBusy{false};
    Stepper stepper([&](Stepper&) {
        isBusy = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        isBusy = false;
        return true;
    });
    for (const auto& [operation, state] : operations) {
        std::async(std::launch::async, operation, std::ref(stepper)).wait();
        EXPECT_FALSE(state != kRunning && isBusy);
        expectState(stepper, state);
    }
    EXPECT_EQ(stepper.resumptions, 4);
}

TEST(StepperThread, obeysItsOwnStep) {
    const std::pair<std::vector<Operation>, StepperThread::eState> cases[] = {{{join, start}, kRunning},
                                                                              {{pause, join}, kPaused},
                                                                              {{pause, resume}, kRunning},
                                                                              {{pause, stop}, kStopped},
                                                                              {{stop, start}, kStopped}};
    for (const auto& each : cases) {
        Stepper stepper([&](Stepper& self) {
            for (std::size_t i = 0; self.steps == 1 && i < 2; ++i) each.first[i](self);
            return true;
        });
        start(stepper);
        EXPECT_TRUE(comesTrue([&] { return stepper.steps && stepper.getThreadState() == each.second; }));
        expectState(stepper, each.second);
    }
}

TEST(StepperThread, endsWithTheStepThatReturnsFalseOrThrows) {
    const std::pair<std::function<bool()>, std::string> cases[] = {
        {[] { return false; }, ""},
#ifndef _WIN32
        {[]() -> bool { pthread_exit(nullptr); }, ""},
        {[]() -> bool { throw(allocationsLeft = 0, std::bad_alloc()); },
         "StepperThread exception thrown in thread: std::bad_alloc\n"},
#endif
        {[]() -> bool { throw std::runtime_error("boom %s"); },
         "StepperThread exception thrown in thread: boom %s\n"},
        {[]() -> bool { throw "boom"; }, "StepperThread unknown exception thrown in thread\n"}};
    for (const auto& [end, text] : cases) {
        Stepper stepper([last = end](Stepper& self) { return self.steps % 1'000 != 1 || last(); });
        for (const int steps : {1, 1'001}) {
            EXPECT_EQ(support::standardErrorOf([&] { start(stepper), join(stepper); }), text);
            EXPECT_TRUE(stepper.steps == steps && stepper.getThreadState() == kStopped);
        }
    }
}

TEST(StepperThread, survivesOrdersOfSeveralThreadsWhileItEnds) {
    const Operation operations[] = {start, start, pause, resume, stop};
    std::atomic<std::size_t> thrown{0};
    const auto written = support::standardErrorOf([&] {
        for (int round = 0; round < 3'000; ++round) {
            auto* const stepper = new Stepper([&](Stepper& self) {
                if (self.steps % 8 > round % 5) return true;
                if (round % 3 == 0) return false;
                throw std::runtime_error(std::to_string(++thrown));
            });
            const auto command = [&](int thread) {
                std::minstd_rand random(static_cast<unsigned int>(2 * round + thread + 1));
                for (int i = 0; i < 5; ++i) operations[random() / 64 % std::size(operations)](*stepper);
                stop(*stepper);  // another thread's stop may be waiting for the run that this one started
            };
            const auto other = std::async(std::launch::async, command, 0);
            command(1);
            other.wait();
            start(*stepper), pause(*stepper);
            std::this_thread::yield(), stop(*stepper);  // it may end before that
            const int steps = stepper->steps;
            start(*stepper);
            ASSERT_TRUE(comesTrue([&] { return stepper->steps > steps; }));
            operations[round % 5](*stepper);
            stepper->destroy();
        }
    });
    EXPECT_EQ(support::linesOf(written).size(), thrown);
}

}  // namespace
