#ifdef _WIN32
#include <windows.h>
#endif
#include <QvPlatform/QvPluginSystem/LoadSharedLibrary.h>

#include "CallStacks.h"
#include "support/ChildProgram.h"
#include "support/VariableChange.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <regex>

#ifndef _WIN32
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
    if (!kWindows) {
        EXPECT_EQ(countOf(walk.text, "CallStackViewerTest.cpp ("), 52) << walk.text;
        EXPECT_EQ(countOf(walk.text, "): descendAndWalk(int, "), 51) << walk.text;
        EXPECT_GE(countOf(walk.text, "StackViewerTest.cpp (" + std::to_string(line) + "): "), 1);
    }
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

TEST(CallStackViewer, worksWithoutTheSymbolLibrary) {
    const support::VariableChange change("QV_LIBDW", "/nowhere/libdw.so");
    static Walk walk;
    const int numbers[] = {1};
    const int wanted = 1;
    std::bsearch(&wanted, numbers, 1, sizeof(int), [](const void*, const void*) {
        walk = walkOwn();
        return 0;
    });
    EXPECT_TRUE(walk.reachedEnd);
    const std::regex unnamed(
        R"(0x[0-9a-f]+ \(callStackTest\+0x[0-9a-f]+\): \(filename not available\): \(func)");
    const std::regex named(
        R"(0x[0-9a-f]+ \(libc\.so\.6\+0x[0-9a-f]+\): \(filename not available\): __libc_start_main\n)");
    EXPECT_TRUE(std::regex_search(walk.text, unnamed)) << walk.text;
    EXPECT_TRUE(std::regex_search(walk.text, named)) << walk.text;
    CallStackViewer other(1, nullptr);
    EXPECT_FALSE(other.getCallstack(nullptr, nullptr));
    EXPECT_EQ(countOf(other.getOutput(), "Failed to load dll.\n"), 1);
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
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGUSR1, &action, &before);
    raise(SIGUSR1);
    sigaction(SIGUSR1, &before, nullptr);
    return handlersWalk;
}
#endif

namespace {

TEST(CallStackViewer, beginsAtAContext) {
    const Walk walk = takeContext();
    EXPECT_TRUE(walk.reachedEnd) << walk.text;
    EXPECT_EQ(countOf(walk.text, "takeContext"), 1) << walk.text;
    EXPECT_EQ(countOf(walk.text, "walkInterrupted"), 0) << walk.text;
}

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
        EXPECT_TRUE(kWindows || countOf(viewer.getOutput(), "CallingPlugin.cpp (7)") == 1);
    }
}

}  // namespace
