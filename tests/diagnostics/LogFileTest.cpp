#include <QvPlatform/core/QvVersion.h>
#include <QvPlatform/diagnostics/Log.h>
#include <QvPlatform/diagnostics/LogFile.h>
#include <QvPlatform/system/Process.h>

#include "support/ChildProgram.h"
#include "support/StandardError.h"

#include <gtest/gtest.h>

#ifndef _WIN32
#include "support/ForkAsNobody.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#endif

namespace {

namespace Process = QvSim::Process;
using support::kWindows;
using support::linesOf;
using support::pathOf;
using support::standardErrorOf;
using support::withoutStamp;

std::string contentOf(const std::string& path) { return support::withPlainLineEnds(support::readFile(path)); }

std::string nameFrom(const std::string& baseName) {
    return baseName + "_" + Process::getHostName() + "_" + std::to_string(Process::getProcessID()) + ".log";
}

std::string header() {
    return std::string("Quorex Studio version ") + Qv::QvGetVersion() + "\nRunning application is " +
           Process::getProcessFileName() + " (" + Process::getHostNameProcessID() + ")\n";
}

std::string open(const std::string& baseName) {
    return standardErrorOf([&] { Qv::setLogFile(baseName); });
}

class LogFile : public testing::Test {
protected:
    ~LogFile() override { open(""); }

    const support::TemporaryFolder folder_;
    const std::string baseName_ = folder_.path() + "app";
    const std::string file_ = nameFrom(baseName_);
};

TEST_F(LogFile, beginsWithAHeaderAndGetsTheLinesOfTheLog) {
    EXPECT_EQ(Qv::getLogFile(), "");
    for (int round = 0; round < 2; ++round) EXPECT_EQ(open(baseName_), "Writing to log file " + file_ + "\n");
    EXPECT_EQ(Qv::getLogFile(), file_);
    const std::string written = standardErrorOf([] {
        Qv::LogWarn("%s", "\xC3\xA9");
        Qv::LogTrace("above the threshold");
        EXPECT_THROW(Qv::LogError("second"), std::runtime_error);
    });
    EXPECT_EQ(linesOf(written).size(), 2U);
    Qv::printToLogFile("");
    Qv::printToLogFile("unchanged, \x01 no end");
    EXPECT_EQ(contentOf(file_), header() + written + "unchanged, \x01 no end");
}

TEST_F(LogFile, changesAndCloses) {
    const std::string other = folder_.path() + "other.log";
    for (const char* text : {"1\n", "2\n"}) {
        open(baseName_);
        Qv::printToLogFile(text);
        EXPECT_EQ(open(other), "Writing to log file " + nameFrom(other) + "\n");
    }
    for (int round = 0; round < 2; ++round) EXPECT_EQ(open(""), "Stopped writing to log file\n");
    EXPECT_EQ(Qv::getLogFile(), "");
    Qv::printToLogFile("3\n");
    EXPECT_EQ(contentOf(file_), header() + "1\n" + header() + "2\n");
    EXPECT_EQ(contentOf(nameFrom(other)), header() + header());
}

TEST_F(LogFile, keepsTheNameOfAFileThatCannotBeOpened) {
    open(baseName_);
    const auto expectNoFile = [&](const std::string& baseName) {
        EXPECT_EQ(open(baseName), "Writing to log file " + nameFrom(baseName) + "\n");
        EXPECT_EQ(Qv::getLogFile(), nameFrom(baseName));
        Qv::printToLogFile("lost");
        EXPECT_NE(standardErrorOf([] { Qv::LogWarn("seen"); }), "");
        EXPECT_FALSE(std::filesystem::exists(pathOf(nameFrom(baseName))));
    };
    expectNoFile(folder_.path() + "missing/app");
#ifndef _WIN32
    const std::string locked = folder_.addDirectory("locked");
    std::filesystem::permissions(locked, std::filesystem::perms(0555));
    support::inForkAsNobody([&] { expectNoFile(locked + "app"); });
    const std::string vanishing = folder_.addDirectory("vanishing") + "app";
    open(vanishing);
    std::filesystem::remove_all(folder_.path() + "vanishing");
    expectNoFile(vanishing);
#endif
    EXPECT_EQ(contentOf(file_), header());
    open(baseName_);
    EXPECT_EQ(contentOf(file_), header() + header());
}

TEST_F(LogFile, refusesANameWithAZeroByte) {
    const std::string folder = folder_.addDirectory("cut");
    for (const std::string& name :
         {folder + std::string("app\0x", 5), folder_.path() + std::string("cut\0/x", 6)}) {
        open(name);
        EXPECT_EQ(Qv::getLogFile(), nameFrom(name));
        Qv::printToLogFile("lost");
        EXPECT_TRUE(std::filesystem::is_empty(pathOf(folder)));
    }
}

// Expects numbered lines from several threads, those of each thread in order.
void expectLines(const std::string& log, std::size_t threads, int linesOfEach) {
    std::vector<int> next(threads, 0);
    for (const std::string& line : linesOf(log)) {
        const auto thread = static_cast<std::size_t>(line.at(support::kStampLength + 6) - '0');
        ASSERT_LT(thread, threads) << line;
        ASSERT_EQ(withoutStamp(line),
                  "INFO: " + std::to_string(thread) + "/" + std::to_string(next[thread]++) + "\n");
    }
    EXPECT_EQ(next, std::vector<int>(threads, linesOfEach));
}

TEST_F(LogFile, tearsAndLosesNoLineOfEightThreads) {
    constexpr std::size_t kThreads = 8;
    constexpr int kLines = kWindows ? 5'000 : 100'000;
    open(baseName_);
    const std::string written = standardErrorOf([] {
        std::vector<std::thread> threads;
        for (std::size_t thread = 0; thread < kThreads; ++thread) {
            threads.emplace_back([thread] {
                for (int i = 0; i < kLines; ++i) Qv::LogInfo("%zu/%d", thread, i);
            });
        }
        for (std::thread& thread : threads) thread.join();
    });
    expectLines(written, kThreads, kLines);
    expectLines(contentOf(file_).substr(header().size()), kThreads, kLines);
}

TEST_F(LogFile, isOneOfSeveralInAFolder) {
    constexpr int kLines = 500;
    std::vector<Process::ProcessHandle*> children;
    for (const char* number : {"0 ", "1 ", "2 "})
        children.push_back(
            Process::execute(support::childProgram(), "log " + baseName_ + number + baseName_ + " 500"));
    for (const char* number : {"0", "1", "2"}) EXPECT_TRUE(support::appears(baseName_ + number + ".here"));
    for (Process::ProcessHandle*& child : children) {
        Process::kill(child);
        Process::destroyProcessHandle(child);
    }
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(pathOf(folder_.path()))) {
        if (entry.path().extension() != ".log") continue;
        ++files;
        const std::string content = contentOf(support::textOf(entry.path()));
        expectLines(content.substr(content.find(")\n") + 2), 1, kLines);
    }
    EXPECT_EQ(files, 3);
}

#ifndef _WIN32
TEST_F(LogFile, isNoPipe) {
    ASSERT_EQ(mkfifo(file_.c_str(), 0600), 0);
    open(baseName_);
    const int reader = ::open(file_.c_str(), O_RDWR | O_NONBLOCK);
    Qv::printToLogFile(std::string(100'000, 'x'));  // more than a pipe takes
    char byte = 0;
    EXPECT_EQ(read(reader, &byte, 1), -1);
    close(reader);
}

TEST_F(LogFile, followsLinksOfTheUserButNotOfOthersWhereTheyMayPutThem) {
    namespace fs = std::filesystem;
    const std::string own = folder_.addFile("own");
    fs::create_symlink("own", file_);
    fs::permissions(folder_.path(), fs::perms(01777));
    open(baseName_);
    EXPECT_EQ(contentOf(own), "content" + header());
    open("");
    if (geteuid() != 0) GTEST_SKIP() << "may not give files away";
    ASSERT_EQ(lchown(file_.c_str(), support::kNobody, support::kNobody), 0);
    open(baseName_);
    Qv::printToLogFile("lost");
    fs::permissions(folder_.path(), fs::perms(0755));
    open("");
    open(baseName_);
    EXPECT_EQ(contentOf(own), "content" + header() + header());
    open("");
    // A file that another user has put there, to read the log.
    fs::permissions(folder_.path(), fs::perms(0777));
    fs::remove(file_);
    support::writeFile(file_);
    ASSERT_EQ(chown(file_.c_str(), support::kNobody, support::kNobody), 0);
    open(baseName_);
    EXPECT_EQ(contentOf(file_), "content");
}

TEST_F(LogFile, goesOnWhenAFullDiskHasRoomAgain) {
    if (mount("tmpfs", folder_.path().c_str(), "tmpfs", 0, "size=64k") != 0) GTEST_SKIP() << "may not mount";
    support::writeFile(folder_.path() + "filling", std::string(40'000, 'x'));
    open(baseName_);
    const auto log = [](int first, int last) {
        return standardErrorOf([=] {
            for (int i = first; i < last; ++i) Qv::LogInfo("0/%d", i);
        });
    };
    const std::string all = log(0, 2000);
    const std::string whenFull = contentOf(file_).substr(header().size());
    std::filesystem::remove(folder_.path() + "filling");
    const std::string later = log(2000, 2100);
    const std::string atEnd = contentOf(file_).substr(header().size());
    open("");
    umount2(folder_.path().c_str(), MNT_DETACH);

    expectLines(all, 1, 2000);
    EXPECT_GT(whenFull.size(), 8'000U);
    EXPECT_LT(whenFull.size(), all.size());
    EXPECT_TRUE(all.starts_with(whenFull));
    EXPECT_EQ(atEnd, whenFull + (whenFull.ends_with("\n") ? "" : "\n") + later);
}
#endif

}  // namespace
