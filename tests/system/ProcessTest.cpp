#include <QvPlatform/filesystem/Environment.h>
#include <QvPlatform/system/Process.h>

#include "support/ChildProgram.h"
#include "support/LogCapture.h"
#include "support/VariableChange.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cfloat>
#include <memory>

#ifndef _WIN32
#include "support/ForkAsNobody.h"

#include <sys/time.h>

#include <csignal>
#endif

namespace {

namespace Process = QvSim::Process;
using support::appears;
using support::childProgram;
using support::kWindows;
using support::LogCapture;
using support::pathOf;
using support::writeFile;
using TextPair = std::pair<const char*, const char*>;

TEST(Process, knowsItselfAlsoAfterAFork) {
    const std::string host = Process::getHostName();
    std::string upper = host;
    for (char& c : upper) {
        EXPECT_FALSE(c >= 'A' && c <= 'Z') << host;
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    EXPECT_TRUE(Process::isMyHostName(host) && Process::isMyHostName(upper));
    EXPECT_FALSE(Process::isMyHostName("") || Process::isMyHostName(host + "x"));
    const std::string folder =
        QvPlatform::Directory(QvPlatform::Directory::kExecutableDirectory).toNativePath();
    EXPECT_EQ(Process::getProcessFileName(), folder + (kWindows ? "systemTest.exe" : "systemTest"));
    const auto expectOwnNumber = [&] {
        EXPECT_EQ(Process::getProcessID(), static_cast<unsigned int>(getpid()));
        EXPECT_EQ(Process::getHostNameProcessID(), host + ":" + std::to_string(getpid()));
    };
    expectOwnNumber();
#ifndef _WIN32
    support::inForkAsNobody(expectOwnNumber);
#endif
}

TEST(Process, countsTheMemoryThatIsTouched) {
    constexpr std::size_t kSize = 64 << 20;
    const auto before = Process::getProcessMemoryInfo().workingSetSize;
    const std::unique_ptr<char[]> block(new char[kSize]);
    const auto reserved = Process::getProcessMemoryInfo().workingSetSize;
    for (std::size_t i = 0; i < kSize; i += 1024) static_cast<volatile char*>(block.get())[i] = 1;
    EXPECT_GT(before, kSize / 64);
    EXPECT_LT(reserved, before + kSize / 4);
    EXPECT_GT(Process::getProcessMemoryInfo().workingSetSize, reserved + kSize / 8 * 7);
}

TEST(Process, readsTheFreeSpaceOfADirectory) {
    const support::TemporaryFolder folder;
    const std::string path = folder.path();
    const support::CurrentDirectoryChange change(path);
    const auto bytes = std::filesystem::space(std::filesystem::current_path()).available;
    for (const char* directory : {path.c_str(), ".", static_cast<const char*>(nullptr)})
        EXPECT_NEAR(Process::getFreeDiskSpaceMB(directory), static_cast<double>(bytes) / 1024 / 1024, 1024);
    EXPECT_EQ(Process::getFreeDiskSpaceMB("missing"), DBL_MAX);
    EXPECT_EQ(Process::getFreeDiskSpaceMB(folder.addFile("file").c_str()), DBL_MAX);
}

class ProcessExecution : public testing::Test {
protected:
    static std::int64_t exitCodeOf(const std::string& command, const std::string& arguments) {
        std::int64_t exitCode = 0;
        EXPECT_TRUE(Process::shellExecute(command, arguments, false, true, &exitCode)) << command;
        return exitCode;
    }

    /// What the child writes for a command.
    std::string answerTo(const std::string& command, const std::string& arguments) const {
        EXPECT_EQ(exitCodeOf(childProgram(), command + " " + file_ + " " + arguments), 0);
        return support::readFile(file_);
    }

    const support::TemporaryFolder folder_;
    const std::string file_ = folder_.path() + "x";
    const LogCapture capture_;
};

TEST_F(ProcessExecution, splitsArgumentsAsTheWindowsRuntimeDoes) {
    const TextPair cases[] = {
        {"", ""},
        {"  a\t b  ", "a\nb\n"},
        {R"("a b" "" "c	d" "")", "a b\n\nc\td\n\n"},
        {R"(a\"b "c d" 'e f' *)", "a\"b\nc d\n'e\nf'\n*\n"},
        {R"(a\\b \\ c\)", "a\\\\b\n\\\\\nc\\\n"},
        {R"("a\\" b "c\\\"d" e\\"f g")", "a\\\nb\nc\\\"d\ne\\f g\n"},
        {R"(a"b c"d "e""f")", "ab cd\ne\"f\n"},
        {R"("not closed \)", "not closed \\\n"},
        {"$HOME `x` %PATH% ~ ; | > & ? [a-z] {b,c}", "$HOME\n`x`\n%PATH%\n~\n;\n|\n>\n&\n?\n[a-z]\n{b,c}\n"},
        {"\"\xE5\x90\x8D \xF0\x9F\x98\x80\"", "\xE5\x90\x8D \xF0\x9F\x98\x80\n"},
    };
    for (const auto& [arguments, lines] : cases)
        EXPECT_EQ(answerTo("arguments", arguments), lines) << arguments;
    EXPECT_TRUE(answerTo("arguments", std::string(20'000, 'x')) == std::string(20'000, 'x') + "\n");
}

TEST_F(ProcessExecution, readsTheExitCode) {
    const std::pair<const char*, std::int64_t> cases[] = {
        {"exit 0", 0},
        {"exit 255", 255},
        {"exit 300", kWindows ? 300 : 300 % 256},
        {"exit -1", kWindows ? 4294967295 : 255},
        {kWindows ? "exit 1" : "signal 9", kWindows ? 1 : 128 + 9},
    };
    for (const auto& [arguments, exitCode] : cases)
        EXPECT_EQ(exitCodeOf(childProgram(), arguments), exitCode) << arguments;
    const std::string withoutQuotes = childProgram().substr(1, childProgram().size() - 2);
    EXPECT_EQ(exitCodeOf(withoutQuotes, "exit 7"), 7);
    std::int64_t exitCode = 0;
    EXPECT_TRUE(Process::shellExecute(childProgram(), "exit 3", true, false, &exitCode));
    EXPECT_EQ(exitCode, -1);
}

TEST_F(ProcessExecution, givesTheChildDirectoryEnvironmentAndStreamsOnly) {
    const support::CurrentDirectoryChange directory(folder_.path());
    const support::VariableChange restore("QV_CHILD_TEST", std::nullopt);
    ASSERT_TRUE(QvPlatform::putEnv("QV_CHILD_TEST", "\xC3\xA9 = \xE5\x90\x8D"));
    std::string expected = support::textOf(std::filesystem::current_path()) + "\n\xC3\xA9 = \xE5\x90\x8D";
#ifndef _WIN32
    ASSERT_TRUE(std::freopen(folder_.addFile("input").c_str(), "r", stdin));
    const int notForTheChild = dup(STDIN_FILENO);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    expected += "\ninput content\ndescriptors 0 1 2\nblocked or ignored signals";
#endif
    EXPECT_EQ(answerTo("surroundings", ""), expected);
#ifndef _WIN32
    std::signal(SIGPIPE, SIG_DFL);
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    close(notForTheChild);
#endif
}

TEST_F(ProcessExecution, warnsWhenItCannotStart) {
    using std::filesystem::perms;
    const std::string broken = folder_.addFile("broken.exe");
    const std::string forbidden = folder_.addFile("forbidden.exe");
    std::filesystem::permissions(pathOf(broken), perms(0755));
    std::filesystem::permissions(pathOf(forbidden), perms(0644));
    for (const std::string& command : {file_, broken, forbidden, std::string("qv-missing"), std::string()}) {
        std::int64_t exitCode = 0;
        EXPECT_FALSE(Process::shellExecute(command, "-a 100%", false, true, &exitCode)) << command;
        EXPECT_EQ(exitCode, -1);
        const auto messages = LogCapture::take();
        ASSERT_EQ(messages.size(), 2U);
        EXPECT_EQ(messages[0].level, Qv::kLogLevelInfo);
        EXPECT_EQ(messages[0].text, "Executing shell command: " + command + " -a 100%\n");
        EXPECT_EQ(messages[1].level, Qv::kLogLevelWarn);
        EXPECT_EQ(messages[1].text,
                  "shellExecute: Failed to execute shell command: " + command + " -a 100%\n");
        EXPECT_EQ(Process::execute(command, ""), nullptr);
        EXPECT_TRUE(LogCapture::take().empty());
    }
}

TEST_F(ProcessExecution, splitsALineAtBlanksOnly) {
    const TextPair cases[] = {{"  /qv/tool   -a -b", "/qv/tool -a -b"},
                              {"/qv/tool", "/qv/tool "},
                              {"/qv/to\tol -a  -b  ", "/qv/to\tol -a  -b  "},
                              {"\"/qv/my   tool\"  -a", "\"/qv/my tool\"  -a"}};
    for (const auto& [line, shown] : cases) {
        EXPECT_FALSE(Process::shellExecute(line));
        EXPECT_EQ(LogCapture::take().at(0).text, "Executing shell command: " + std::string(shown) + "\n");
    }
    EXPECT_FALSE(Process::shellExecute("") || Process::shellExecute("   "));
    EXPECT_TRUE(LogCapture::take().empty());
    EXPECT_TRUE(Process::shellExecute("  " + childProgram() + "  arguments " + file_));
    EXPECT_TRUE(appears(file_));
}

TEST_F(ProcessExecution, letsAChildRunOnOrEndsIt) {
    Process::ProcessHandle* handle = Process::createProcessHandle();
    Process::kill(handle);
    for (int round = 0; round < 2; ++round) {
        Process::destroyProcessHandle(handle);
        EXPECT_EQ(handle, nullptr);
        Process::kill(handle);
    }
    for (const bool end : {false, true}) {
        const std::string file = file_ + (end ? "1" : "0");
        handle = Process::execute(childProgram(), "wait " + file);
        ASSERT_TRUE(appears(file + ".here"));
        for (int round = 0; round < 2 && end; ++round) Process::kill(handle);
        Process::destroyProcessHandle(handle);
        writeFile(file);
        if (end) std::this_thread::sleep_for(std::chrono::milliseconds(200));
        EXPECT_NE(end ? std::filesystem::exists(pathOf(file + ".done")) : appears(file + ".done"), end);
    }
    EXPECT_TRUE(LogCapture::take().empty());
}

TEST_F(ProcessExecution, runsElevatedDirectlyForAnAdministrator) {
    if (!Process::isElevated()) GTEST_SKIP() << "not an administrator";
    EXPECT_TRUE(Process::shellExecuteElevated(childProgram(), "arguments " + file_ + " \"a b\"", true));
    EXPECT_EQ(support::readFile(file_), "a b\n");
    EXPECT_TRUE(Process::shellExecuteElevated(childProgram(), "exit 126", true));  // its own exit code
    EXPECT_FALSE(Process::shellExecuteElevated(file_ + ".exe", "", true));
    EXPECT_TRUE(LogCapture::take().empty());
}

#ifndef _WIN32
TEST_F(ProcessExecution, runsElevatedOnlyWhenTheUserAgrees) {
    const support::VariableChange change("PATH", folder_.path());
    const auto runs = [](const std::string& exitCode, bool wait) {
        return Process::shellExecuteElevated("tool", "\"a b\" " + exitCode, wait);
    };
    EXPECT_EQ(Process::isElevated(), geteuid() == 0);
    support::inForkAsNobody([&] {
        EXPECT_FALSE(Process::isElevated());
        EXPECT_FALSE(runs("0", true) || runs("0", false));  // there is no program to ask the user
    });
    writeFile(folder_.path() + "pkexec",
              "#!/bin/sh\n[ $# = 3 ] && [ \"$2\" = 'a b' ] || exit 127\nexit $3\n");
    std::filesystem::permissions(folder_.path() + "pkexec", std::filesystem::perms(0755));
    support::inForkAsNobody([&] {
        EXPECT_TRUE(runs("0", true) && runs("3", true) && runs("126", false));
        EXPECT_FALSE(runs("126", true) || runs("127", true));
        EXPECT_TRUE(LogCapture::take().empty());
    });
}

TEST_F(ProcessExecution, runsAPathWithBlanksThatTheEffectiveUserMayRun) {
    const std::string program = folder_.addDirectory("my dir") + "tool";
    std::filesystem::copy_file("/bin/true", pathOf(program));
    std::filesystem::permissions(pathOf(program), std::filesystem::perms(0700));
    EXPECT_EQ(exitCodeOf(folder_.path() + "my", "dir/tool"), 0);
    EXPECT_EQ(exitCodeOf(folder_.path() + "my", "dir/tool -x"), 0);
    if (geteuid() != 0) return;
    support::inFork([&] {
        ASSERT_EQ(setresuid(support::kNobody, 0, 0), 0);
        EXPECT_EQ(exitCodeOf(folder_.path() + "my", "dir/tool"), 0);
    });
}

TEST_F(ProcessExecution, knowsTheProgramByItsNameAlsoWhenItWasRemoved) {
    const std::string original = childProgram().substr(1, childProgram().size() - 2);
    // The system appends the same to the name of a program that was removed.
    const std::string another = original + " 2 (deleted)";
    std::filesystem::copy_file(original, another, std::filesystem::copy_options::overwrite_existing);
    for (const std::string& program : {original + " 2", original + " (deleted)"})
        for (const std::string& removed : {std::string(), "\"" + program + "\""}) {
            std::filesystem::create_hard_link(original, program);
            EXPECT_EQ(exitCodeOf("\"" + program + "\"", "name " + file_ + " " + removed), 0);
            EXPECT_EQ(support::readFile(file_), program);
            std::filesystem::remove(program);
        }
    std::filesystem::remove(another);
}

TEST_F(ProcessExecution, startsAndLetsGoWhileTheThreadIsToBeCancelled) {
    bool isStarted = false;
    std::thread([&] {
        pthread_cancel(pthread_self());
        isStarted = Process::shellExecute("/bin/true");
    }).join();
    EXPECT_TRUE(isStarted);
}

TEST_F(ProcessExecution, leavesNoZombieAndNoDescriptorBehind) {
    const auto descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const auto before = descriptors();
    for (int i = 0; i < 500; ++i) {
        EXPECT_TRUE(Process::shellExecute("/bin/true"));
        Process::ProcessHandle* handle = Process::execute("/bin/true", "");
        if (i % 2 == 0) Process::kill(handle);
        Process::destroyProcessHandle(handle);
    }
    EXPECT_EQ(descriptors(), before);
    const auto hasChild = [] { return waitid(P_ALL, 0, nullptr, WEXITED | WNOHANG | WNOWAIT) == 0; };
    for (int round = 0; round < 500 && hasChild(); ++round) {  // until the last one has ended
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        EXPECT_EQ(exitCodeOf("/bin/true", ""), 0);
    }
    EXPECT_FALSE(hasChild());
}

TEST_F(ProcessExecution, waitsOnAfterASignalAndWarnsWhenTheExitCodeIsLost) {
    static volatile std::sig_atomic_t signals = 0;
    struct sigaction action {};
    action.sa_handler = [](int) { signals = 1; };
    sigaction(SIGALRM, &action, nullptr);
    const itimerval soon{{0, 0}, {0, 100'000}};
    setitimer(ITIMER_REAL, &soon, nullptr);
    EXPECT_EQ(exitCodeOf(childProgram(), "sleep 300"), 0);
    EXPECT_EQ(signals, 1);

    std::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(exitCodeOf(childProgram(), "exit 3"), -1);
    std::signal(SIGCHLD, SIG_DFL);
    const auto message = LogCapture::take().back();
    EXPECT_EQ(message.level, Qv::kLogLevelWarn);
    EXPECT_EQ(message.text, "shellExecute: Failed to obtain exit code from command '" + childProgram() +
                                " exit 3'. Failure: " + std::to_string(ECHILD) + "\n");
}
#endif

}  // namespace
