#include <QvPlatform/diagnostics/LogFile.h>
#include <QvPlatform/system/Process.h>

#include "support/ChildProgram.h"
#include "support/LogCapture.h"
#include "support/StandardError.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#ifndef _WIN32
#include "support/ForkAsNobody.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>

// Replaces the C library's function, for this program and for the library.
namespace {
bool locksAsOnANetwork = false;
int readsUntilAnError = -1;

template <typename Function>
Function* systems(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
}  // namespace

extern "C" [[gnu::visibility("default")]] int flock(int file, int operation) noexcept {
    const int access = fcntl(file, F_GETFL) & O_ACCMODE;
    const int missing = (operation & LOCK_SH) != 0 ? O_WRONLY : O_RDONLY;
    if (locksAsOnANetwork && access == missing) {
        errno = EBADF;
        return -1;
    }
    return systems<int(int, int)>("flock")(file, operation);
}

extern "C" [[gnu::visibility("default")]] ssize_t getdents64(int directory, void* buffer,
                                                             std::size_t size) noexcept {
    constexpr std::size_t kRoomForFewEntries = 96;
    if (readsUntilAnError == 0) {
        errno = EIO;
        return -1;
    }
    if (readsUntilAnError > 0) {
        --readsUntilAnError;
        size = std::min(size, kRoomForFewEntries);
    }
    return systems<ssize_t(int, void*, std::size_t)>("getdents64")(directory, buffer, size);
}
#endif

namespace {

using support::kWindows;
using support::LogCapture;
using support::pathOf;
using Texts = std::vector<std::string>;

class LogPurge : public testing::Test {
protected:
    ~LogPurge() override { purge(10, ""); }

    void add(const std::string& name, double hours) const {
        using Time = std::filesystem::file_time_type;
        const std::chrono::duration<double> age(hours * 3600);
        last_write_time(pathOf(folder_.addFile(name)),
                        Time::clock::now() - std::chrono::duration_cast<Time::duration>(age));
    }
    bool exists(const std::string& name) const {
        return std::filesystem::exists(pathOf(folder_.path() + name));
    }

    /// Opens a log file. Returns the messages of the purge.
    static Texts purge(double days, const std::string& baseName) {
        const LogCapture capture;
        Qv::LogSetExpiration(days);
        support::standardErrorOf([&] { Qv::setLogFile(baseName); });
        return LogCapture::takeTexts();
    }

    const support::TemporaryFolder folder_;
    const std::string baseName_ = folder_.path() + "app";
};

TEST_F(LogPurge, removesWhatIsOlderThanTheExpiration) {
    const struct {
        double days;
        double hours;
        bool goes;
    } cases[] = {{1.5, 37, true},         {1.5, 35, false},     {1.0 / 24, 1.02, true},
                 {1.0 / 24, 0.98, false}, {0, 0.01, true},      {0, -2, false},
                 {-1, -22, true},         {-1, -26, false},     {1e12, 100'000, false},
                 {-1e12, 0, true},        {HUGE_VAL, 9, false}, {std::nan(""), 100'000, false}};
    for (const auto& c : cases) {
        add("x.log", c.hours);
        purge(c.days, baseName_);
        EXPECT_EQ(exists("x.log"), !c.goes) << c.days << " days, " << c.hours << " hours";
    }
}

TEST_F(LogPurge, takesEveryLogOfTheFolderAndNothingElse) {
    folder_.addDirectory("below");
    folder_.addDirectory("directory.log");
    const Texts gone = {"app_other_1.log", "\xE5\x90\x8D.log", "a.b.log", ".log"};
    const Texts kept = {"a.log.bak", "a.LOG", "log", "alog", "below/a.log", "directory.log/a.txt"};
    for (const auto& names : {gone, kept})
        for (const std::string& name : names) add(name, 1000);
#ifndef _WIN32
    std::filesystem::create_symlink("below/a.log", folder_.path() + "link.log");
    std::filesystem::create_symlink("nothing", folder_.path() + "dangling.log");
#endif
    const support::CurrentDirectoryChange change(folder_.path());
    EXPECT_EQ(purge(1, "app"), Texts());
    purge(1, "");
    for (const std::string& name : gone) EXPECT_FALSE(exists(name)) << name;
    for (const std::string& name : kept) EXPECT_TRUE(exists(name)) << name;
    EXPECT_FALSE(exists("link.log"));
}

class LogPurgeOnANetwork : public LogPurge, public testing::WithParamInterface<bool> {
#ifndef _WIN32
protected:
    LogPurgeOnANetwork() { locksAsOnANetwork = GetParam(); }
    ~LogPurgeOnANetwork() override { locksAsOnANetwork = false; }
#endif
};
INSTANTIATE_TEST_SUITE_P(Locks, LogPurgeOnANetwork, testing::Values(false, !kWindows));

TEST_P(LogPurgeOnANetwork, leavesOpenLogsAlone) {
    const std::string file = folder_.path() + "running";
    auto* child =
        QvSim::Process::execute(support::childProgram(), "log " + file + " " + folder_.path() + "z 3");
    ASSERT_TRUE(support::appears(file + ".here"));
    const Texts texts = purge(0, baseName_);
    ASSERT_EQ(texts.size(), 1U);
    EXPECT_EQ(texts[0].find("QvErrorHandler::PurgeLogs: Could not delete log file: "), 0U) << texts[0];
    EXPECT_NE(texts[0].find(", exception: "), std::string::npos);
    const support::LogStateRestore restore;
    Qv::LogSetRegExFilter("[");  // even with an invalid filter
    add("a.log", 1);
    support::standardErrorOf([&] { Qv::setLogFile(baseName_); });
    EXPECT_FALSE(exists("a.log"));
    QvSim::Process::kill(child);
    QvSim::Process::destroyProcessHandle(child);
    Qv::printToLogFile("still there");
    EXPECT_NE(support::readFile(Qv::getLogFile()).find("still there"), std::string::npos);
}

#ifndef _WIN32
TEST_F(LogPurge, removesWhatThisUserMayDeleteButNotReadOrWrite) {
    const std::string folder = folder_.addDirectory("shared");
    std::filesystem::permissions(folder, std::filesystem::perms(0777));
    for (const int access : {0000, 0200, 0400, 0600}) {
        const std::string name = "shared/" + std::to_string(access) + ".log";
        add(name, 1000);
        std::filesystem::permissions(folder_.path() + name, std::filesystem::perms(access * 0111 / 0100));
    }
    support::inForkAsNobody([&] { EXPECT_EQ(purge(1, folder + "app"), Texts()); });
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        EXPECT_EQ(entry.path().filename().string().find("app"), 0U) << entry.path();
}

TEST_F(LogPurge, removesNothingWhenTheListingFailsHalfway) {
    for (const char* name : {"a.log", "b.log", "c.log"}) add(name, 1000);
    readsUntilAnError = 2;
    const Texts texts = purge(1, baseName_);
    readsUntilAnError = -1;
    ASSERT_EQ(texts.size(), 1U);
    EXPECT_EQ(texts[0].find("QvErrorHandler::PurgeLogs: Could not purge log files in directory: "), 0U);
    for (const char* name : {"a.log", "b.log", "c.log"}) EXPECT_TRUE(exists(name)) << name;
}
#endif

}  // namespace
