// Tests where names come from, each in a separate process, because the debugging library is opened only once.

#include "CallStacks.h"
#include "support/ChildProgram.h"
#include "support/TemporaryFolder.h"
#include "support/VariableChange.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <dlfcn.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <regex>
#include <thread>

namespace {

using QvPlatform::CallStackViewer;
using support::countOf;
using support::Walk;
using support::walkOwn;

/// Runs the check in a new process, which ends within a minute.
void inNewProcess(void (*check)()) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto run = [check] {
        alarm(60);
        check();
        std::_Exit(testing::Test::HasFailure() ? 1 : 0);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

Walk walkBelowTheCLibrary() {
    static Walk walk;
    const int numbers[] = {1};
    const int wanted = 1;
    std::bsearch(&wanted, numbers, 1, sizeof(int), [](const void*, const void*) {
        walk = walkOwn();
        return 0;
    });
    return walk;
}

bool hasUnnamed(const std::string& text) {
    const std::regex unnamed(
        R"(0x[0-9a-f]+ \(callStackTest\+0x[0-9a-f]+\): \(filename not available\): \(func)");
    return std::regex_search(text, unnamed);
}

TEST(StackSymbols, withoutTheLibraryNamesAreTheExportedOnes) {
    const support::VariableChange change("QV_LIBDW", "/nowhere/libdw.so");
    inNewProcess([] {
        const Walk walk = walkBelowTheCLibrary();
        EXPECT_TRUE(walk.reachedEnd);
        const std::regex named(
            R"(0x[0-9a-f]+ \(libc\.so\.6\+0x[0-9a-f]+\): \(filename not available\): __libc_start_main\n)");
        EXPECT_TRUE(hasUnnamed(walk.text)) << walk.text;
        EXPECT_TRUE(std::regex_search(walk.text, named)) << walk.text;
        CallStackViewer other(1, nullptr);
        EXPECT_FALSE(other.getCallstack(nullptr, nullptr));
        EXPECT_EQ(countOf(other.getOutput(), "Failed to load dll.\n"), 1);
    });
}

TEST(StackSymbols, doNotWaitForStaticInitializers) {
    inNewProcess([] {
        int ends[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        const support::VariableChange change("QV_TEST_CHANNEL", std::to_string(ends[1]));
        const QvPlatform::Directory programs(QvPlatform::Directory::kExecutableDirectory);
        const std::string library = programs.toUniversalPath() + "test-plugins/libwaiting.so";
        std::thread loading([&] { EXPECT_TRUE(dlopen(library.c_str(), RTLD_NOW)) << dlerror(); });
        char byte = 0;
        ASSERT_EQ(read(ends[0], &byte, 1), 1);
        CallStackViewer viewer(QvSim::Process::getProcessID(), nullptr);
        const auto hasUnnamedFrames = [&] {
            return viewer.getCallstack(nullptr, nullptr) && hasUnnamed(viewer.getOutput());
        };
        EXPECT_TRUE(hasUnnamedFrames());
        ASSERT_EQ(write(ends[0], &byte, 1), 1);
        loading.join();
        EXPECT_TRUE(support::comesTrue([&] { return !hasUnnamedFrames(); })) << viewer.getOutput();
    });
}

TEST(StackSymbols, askNoServer) {
    inNewProcess([] {
        const int server = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        ASSERT_EQ(bind(server, generic, length), 0);
        ASSERT_EQ(listen(server, 1), 0);
        ASSERT_EQ(getsockname(server, generic, &length), 0);
        const support::VariableChange url("DEBUGINFOD_URLS",
                                          "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)));
        const support::VariableChange patience("DEBUGINFOD_TIMEOUT", "1");
        // The C++ library, which starts the thread, has no debugging information.
        std::thread([] { EXPECT_NE(walkOwn().text, ""); }).join();
        pollfd waiting{server, POLLIN, 0};
        EXPECT_EQ(poll(&waiting, 1, 0), 0);
    });
}

std::string textFromWithin(const std::string& library, const char* function) {
    void* const handle = dlopen(library.c_str(), RTLD_NOW);
    if (!handle) return dlerror();
    static Walk walk;
    const auto call = reinterpret_cast<int (*)(int (*)())>(dlsym(handle, function));
    call([] { return (walk = walkOwn()).reachedEnd ? 1 : 0; });
    dlclose(handle);
    return walk.text;
}

TEST(StackSymbols, comeFromTheLinkedFileOfALibraryWithoutIdentifier) {
    inNewProcess([] {
        const support::TemporaryFolder folder;
        const QvPlatform::Directory programs(QvPlatform::Directory::kExecutableDirectory);
        const std::string source = programs.toUniversalPath() + "test-plugins/";
        const auto copied = [&](const std::string& name, const std::string& to) {
            return std::filesystem::copy_file(support::pathOf(source + name),
                                              support::pathOf(folder.path() + to));
        };
        const std::string library = folder.path() + "library.so";
        ASSERT_TRUE(copied("first.so", "library.so") && copied("first.debug", "first.debug"));
        EXPECT_EQ(countOf(textFromWithin(library, "callBack"), "CallingPlugin.cpp (7): callBack\n"), 1);

        // The later one takes its place, in the file system and probably in memory.
        std::filesystem::remove(support::pathOf(library));
        folder.addDirectory(".debug");
        ASSERT_TRUE(copied("later.so", "library.so") && copied("later.debug", ".debug/later.debug"));
        EXPECT_EQ(
            countOf(textFromWithin(library, "otherFunction"), "CallingPlugin.cpp (12): otherFunction\n"), 1);

        // A file that only has the right name is not believed.
        ASSERT_TRUE(copied("later.so", "other.so") && copied("first.debug", "later.debug"));
        std::filesystem::remove_all(support::pathOf(folder.path() + ".debug"));
        const std::string text = textFromWithin(folder.path() + "other.so", "otherFunction");
        EXPECT_EQ(countOf(text, "(filename not available): otherFunction\n"), 1) << text;
    });
}

}  // namespace
