#ifdef _WIN32
#include <windows.h>
#endif
#include <QvPlatform/QvPluginSystem/LoadSharedLibrary.h>

#include "CallStacks.h"
#include "support/ChildProgram.h"

#include <gtest/gtest.h>

#include <algorithm>

#ifndef _WIN32
#include "AlternateStack.h"

#include <ucontext.h>

#include <csignal>
#endif

namespace {

using QvPlatform::CallStackViewer;
using support::countOf;
using support::kWindows;
using support::Walk;
using support::walkOwn;

volatile int sink = 0;

}  // namespace

ON_STACK int descendAndWalk(int levels, Walk& walk) {
    if (levels == 0) {
        walk = walkOwn();
        return sink;
    }
    const int result = descendAndWalk(levels - 1, walk) + 1;
    sink = result;
    return result;
}

namespace {

TEST(CallStackViewer, showsTheOwnThread) {
    Walk walk;
    const int line = __LINE__ + 1;
    descendAndWalk(50, walk);
    EXPECT_TRUE(walk.reachedEnd) << walk.text;
    EXPECT_EQ(countOf(walk.text, "descendAndWalk"), 51) << walk.text;
    EXPECT_EQ(countOf(walk.text, "getCallstack"), 0) << walk.text;
    EXPECT_EQ(countOf(walk.text, "CallStackViewerTest.cpp ("), 52) << walk.text;
    EXPECT_EQ(countOf(walk.text, kWindows ? "): descendAndWalk\n" : "): descendAndWalk(int, "), 51)
        << walk.text;
    EXPECT_GE(countOf(walk.text, "StackViewerTest.cpp (" + std::to_string(line) + "): "), 1);
}

TEST(CallStackViewer, endsARunawayRecursion) {
    Walk walk;
    descendAndWalk(3000, walk);
    EXPECT_FALSE(walk.reachedEnd);
    EXPECT_EQ(countOf(walk.text, "ERROR: StackWalk64-Endless-Callstack!, GetLastError: 0 (Address: 0x"), 1);
    EXPECT_LT(std::count(walk.text.begin(), walk.text.end(), '\n'), 3000);
}

#ifndef _WIN32
Walk handlersWalk;

void walkInterrupted(int, siginfo_t*, void* context) {
    CallStackViewer viewer(QvSim::Process::getProcessID(), nullptr);
    handlersWalk.reachedEnd = viewer.getCallstack(nullptr, static_cast<const CONTEXT*>(context));
    handlersWalk.text = viewer.getOutput();
}
#endif

}  // namespace

#ifdef _WIN32
ON_STACK Walk takeContext() {
    CONTEXT context{};
    RtlCaptureContext(&context);
    CallStackViewer viewer(GetCurrentProcessId(), GetCurrentProcess());
    const bool reachedEnd = viewer.getCallstack(nullptr, &context);
    return {reachedEnd, viewer.getOutput()};
}
#else
ON_STACK Walk takeContext() {
    struct sigaction action {};
    struct sigaction before {};
    action.sa_sigaction = walkInterrupted;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    const support::AlternateStack stack;
    sigaction(SIGUSR1, &action, &before);
    raise(SIGUSR1);
    sigaction(SIGUSR1, &before, nullptr);
    return handlersWalk;
}
#endif

extern "C" ON_STACK void f(Walk& walk) {
    walk = walkOwn();
    sink = 1;
}

#ifdef _WIN32
CONTEXT* brokenContext(std::intptr_t framePointer, std::intptr_t stackPointer) {
    static CONTEXT context;
    RtlCaptureContext(&context);
    context.Rbp = static_cast<DWORD64>(framePointer);
    context.Rsp = static_cast<DWORD64>(stackPointer);
    return &context;
}
void setProgramCounter(CONTEXT& context, std::uintptr_t address) { context.Rip = address; }
#else
// The linker places this directly before the program's entry, so that its lines end where that begins.
extern "C" [[gnu::section(".text.sorted.last"), gnu::aligned(16), gnu::used]] void endsAtEntry() {
    asm volatile("ret\n.p2align 4");
    __builtin_unreachable();
}
extern "C" void _start();

CONTEXT* brokenContext(std::intptr_t framePointer, std::intptr_t stackPointer) {
    static ucontext_t context;
    getcontext(&context);
    context.uc_mcontext.gregs[REG_RBP] = framePointer;
    context.uc_mcontext.gregs[REG_RSP] = stackPointer;
    return reinterpret_cast<CONTEXT*>(&context);
}
void setProgramCounter(CONTEXT& context, std::uintptr_t address) {
    reinterpret_cast<ucontext_t&>(context).uc_mcontext.gregs[REG_RIP] = static_cast<greg_t>(address);
}
#endif

namespace {

TEST(CallStackViewer, beginsAtAContext) {
    const Walk walk = takeContext();
    EXPECT_TRUE(walk.reachedEnd) << walk.text;
    EXPECT_EQ(countOf(walk.text, "takeContext"), 1) << walk.text;
    EXPECT_EQ(countOf(walk.text, "walkInterrupted"), 0) << walk.text;
}

// Has no mangled name; its name is also the code of a type.
TEST(CallStackViewer, keepsNamesThatAreNoCompilers) {
    Walk walk;
    f(walk);
    EXPECT_GE(countOf(walk.text, ": f\n"), 1) << walk.text;
}

TEST(CallStackViewer, survivesABrokenStack) {
    CallStackViewer viewer(QvSim::Process::getProcessID(), nullptr);
    for (const auto& [framePointer, stackPointer] :
         {std::pair<std::intptr_t, std::intptr_t>{0, 0}, {0, 8}, {-8, -8}, {16, -16}, {8, -4096}}) {
        CONTEXT* const context = brokenContext(framePointer, stackPointer);
        viewer.getCallstack(nullptr, context);
        EXPECT_NE(viewer.getOutput(), "");
        setProgramCounter(*context, 0);
        EXPECT_FALSE(viewer.getCallstack(nullptr, context));
        EXPECT_EQ(countOf(viewer.getOutput(), "ERROR: StackWalk64, GetLastError: "), 1) << viewer.getOutput();
    }
}

#ifndef _WIN32
TEST(CallStackViewer, knowsNoLineWhereThereIsNone) {
    CONTEXT* const context = brokenContext(0, 0);
    setProgramCounter(*context, reinterpret_cast<std::uintptr_t>(&_start));
    CallStackViewer viewer(QvSim::Process::getProcessID(), nullptr);
    viewer.getCallstack(nullptr, context);
    EXPECT_EQ(countOf(viewer.getOutput(), "(filename not available): _start\n"), 1) << viewer.getOutput();
}
#endif

TEST(CallStackViewer, namesLibrariesThatWereLoadedSinceTheLastWalk) {
    static CallStackViewer viewer(QvSim::Process::getProcessID(), nullptr);
    viewer.getCallstack(nullptr, nullptr);
    for (int round = 0; round < 2; ++round) {
        const QvPlatform::Directory programs(QvPlatform::Directory::kExecutableDirectory);
        const QvPluginSystem::LoadSharedLibrary library(programs.toUniversalPath() +
                                                        "test-plugins/calling.qvp");
        ASSERT_TRUE(library.handle);
        void* const symbol = QvPluginSystem::getSymbolAddress(library.handle, "callBack");
        const auto callBack = reinterpret_cast<int (*)(int (*)())>(symbol);
        ASSERT_TRUE(callBack);
        EXPECT_EQ(callBack([] { return viewer.getCallstack(nullptr, nullptr) ? 1 : 0; }), 2);
        EXPECT_EQ(countOf(viewer.getOutput(), ": callBack"), 1) << viewer.getOutput();
        EXPECT_EQ(countOf(viewer.getOutput(), "CallingPlugin.cpp (7)"), 1);
    }
}

}  // namespace
