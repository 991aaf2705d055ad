// The watch alone, with the test's own clock: which changed files it returns, and when. Notices of the system
// may come late, so a test looks until it has them.

#include "QvPluginSystem/ReloadWatch.h"

#include <QvPlatform/filesystem/Directory.h>
#include <QvPlatform/filesystem/Filesystem.h>

#include "support/LogCapture.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#ifndef _WIN32
#include "support/DeniedCalls.h"
#include "support/ForkAsNobody.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#endif

using namespace support;
using QvPluginSystem::ReloadWatch;
using Texts = std::vector<std::string>;

namespace {

constexpr std::chrono::seconds kPatience{30};

const std::string& completeFile() {
    using QvPlatform::Directory;
    static const std::string content = readFile(Directory(Directory::kExecutableDirectory)
                                                    .directory("test-plugins")
                                                    .file("scripted.qvp")
                                                    .toUniversalPath());
    return content;
}

void append(const std::string& path, const std::string& content) {
    std::ofstream(pathOf(path), std::ios::binary | std::ios::app) << content;
}

class ReloadWatchTest : public testing::Test {
protected:
    std::string path(const std::string& name) const { return folder.path() + name; }

    /// A complete file with other content than all before.
    void write(const std::string& name) {
        writeFile(path(name), completeFile() + std::to_string(++versions_));
    }

    void replace(const std::string& name) {
        write("new");
        std::filesystem::rename(pathOf(path("new")), pathOf(path(name)));
    }

    void listen(const Texts& names) {
        std::vector<ReloadWatch::Loaded> files;
        for (const std::string& name : names) files.push_back({path(name), {}});
        watch.setFiles(files);
    }

    /// Looks while the clock stands still until the system has had time for its notices.
    Texts takeNow() {
        Texts names;
        for (int i = 0; i < 10; ++i) {
            for (const std::string& taken : watch.take(now))
                names.push_back(taken.substr(taken.rfind('/') + 1));
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return names;
    }

    Texts takeAfter(std::int64_t milliseconds) {
        now += milliseconds;
        return takeNow();
    }

    /// Looks, with a clock that goes on, until something is returned.
    Texts takeNext() {
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (std::chrono::steady_clock::now() < deadline) {
            if (Texts names = takeAfter(100); !names.empty()) return names;
        }
        return {"nothing"};
    }

    TemporaryFolder folder;
    ReloadWatch watch;
    std::int64_t now = 1;

private:
    int versions_ = 0;
};

}  // namespace

TEST_F(ReloadWatchTest, returnsAChangedFileOnceItIsQuiet) {
    write("a.qvp");
    listen({"a.qvp"});
    EXPECT_EQ(takeAfter(10'000), Texts());
    write("a.qvp");
    EXPECT_EQ(takeNow(), Texts());
    EXPECT_EQ(takeAfter(150), Texts());
    EXPECT_EQ(takeNext(), Texts{"a.qvp"});
    EXPECT_EQ(takeAfter(10'000), Texts());
    replace("a.qvp");
    EXPECT_EQ(takeNext(), Texts{"a.qvp"});
}

TEST_F(ReloadWatchTest, returnsAFileThatIsReplacedManyTimesOnce) {
    write("a.qvp");
    listen({"a.qvp"});
    for (int i = 0; i < 10; ++i) {
        replace("a.qvp");
        EXPECT_EQ(takeAfter(100), Texts());
    }
    EXPECT_EQ(takeNext(), Texts{"a.qvp"});
    EXPECT_EQ(takeAfter(10'000), Texts());
}

TEST_F(ReloadWatchTest, waitsUntilAllPartsAreWritten) {
    write("a.qvp");
    listen({"a.qvp"});
    const std::string content = completeFile();
    writeFile(path("a.qvp"), content.substr(0, 100));
    for (std::size_t part = 1; part < 4; ++part) {
        EXPECT_EQ(takeAfter(1'000), Texts());
        append(path("a.qvp"), content.substr(part * 100, 100));
    }
    EXPECT_EQ(takeAfter(1'000), Texts());
    append(path("a.qvp"), content.substr(400));
    EXPECT_EQ(takeNext(), Texts{"a.qvp"});
}

TEST_F(ReloadWatchTest, returnsAFileThatNeverBecomesCompleteAfterSomeSeconds) {
    write("a.qvp");
    listen({"a.qvp"});
    writeFile(path("a.qvp"), "no library");
    EXPECT_EQ(takeNow(), Texts());
    EXPECT_EQ(takeAfter(4'000), Texts());
    EXPECT_EQ(takeNext(), Texts{"a.qvp"});
    EXPECT_EQ(takeAfter(10'000), Texts());
}

TEST_F(ReloadWatchTest, returnsFilesThatChangeTogetherTogether) {
    for (const char* name : {"a.qvp", "b.qvp", "c.qvp"}) write(name);
    listen({"a.qvp", "b.qvp", "c.qvp"});
    write("a.qvp");
    EXPECT_EQ(takeAfter(100), Texts());
    write("c.qvp");
    EXPECT_EQ(takeAfter(150), Texts());
    EXPECT_EQ(takeAfter(150), Texts());
    EXPECT_EQ(takeNext(), (Texts{"a.qvp", "c.qvp"}));
}

TEST_F(ReloadWatchTest, doesNotWaitForAFileThatIsWrittenAllTheTime) {
    write("a.qvp");
    write("b.qvp");
    listen({"a.qvp", "b.qvp"});
    write("a.qvp");
    Texts taken;
    for (int i = 0; i < 30 && taken.empty(); ++i) {
        append(path("b.qvp"), "more");
        taken = takeAfter(100);
    }
    EXPECT_EQ(taken, Texts{"a.qvp"});
}

TEST_F(ReloadWatchTest, waitsForARemovedFileToComeBack) {
    write("a.qvp");
    listen({"a.qvp"});
    std::filesystem::remove(pathOf(path("a.qvp")));
    EXPECT_EQ(takeAfter(10'000), Texts());
    write("a.qvp");
    EXPECT_EQ(takeNext(), Texts{"a.qvp"});
}

TEST_F(ReloadWatchTest, ignoresAFileThatWasAwayAndIsTheSame) {
    write("a.qvp");
    listen({"a.qvp"});
    std::filesystem::rename(pathOf(path("a.qvp")), pathOf(path("b")));
    EXPECT_EQ(takeAfter(1'000), Texts());
    std::filesystem::rename(pathOf(path("b")), pathOf(path("a.qvp")));
    for (int i = 0; i < 10; ++i) EXPECT_EQ(takeAfter(1'000), Texts());
}

TEST_F(ReloadWatchTest, returnsAFileThatChangedBeforeItWasWatched) {
    write("a.qvp");
    QvPlatform::Filesystem::copy(QvPlatform::File(path("a.qvp")), QvPlatform::File(path("copy")), false);
    writeFile(path("other"), "an older version");
    write("b.qvp");
    watch.setFiles({{path("a.qvp"), path("copy")}, {path("b.qvp"), path("other")}});
    EXPECT_EQ(takeNext(), Texts{"b.qvp"});
    EXPECT_EQ(takeAfter(1'000), Texts());
}

TEST_F(ReloadWatchTest, ignoresOtherFiles) {
    write("a.qvp");
    listen({"a.qvp"});
    write("b.qvp");
    write("a.qvp.tmp");
    folder.addDirectory("c.qvp");
    for (int i = 0; i < 10; ++i) EXPECT_EQ(takeAfter(1'000), Texts());
}

TEST_F(ReloadWatchTest, forgetsFilesThatAreNoLongerListed) {
    write("a.qvp");
    listen({"a.qvp"});
    write("a.qvp");
    EXPECT_EQ(takeNow(), Texts());
    watch.setFiles({});
    EXPECT_EQ(takeAfter(1'000), Texts());
    listen({"a.qvp"});
    EXPECT_EQ(takeAfter(1'000), Texts());
    write("a.qvp");
    EXPECT_EQ(takeNext(), Texts{"a.qvp"});
}

TEST_F(ReloadWatchTest, followsAFolderThatIsRemovedAndMadeAgain) {
    const std::string inside = folder.addDirectory("build");
    write("build/a.qvp");
    listen({"build/a.qvp"});
    EXPECT_EQ(takeNow(), Texts());
    std::filesystem::remove_all(pathOf(inside));
    EXPECT_EQ(takeAfter(2'000), Texts());
    // Wine keeps a folder that is open.
    for (int i = 0; i < 10 && std::filesystem::exists(pathOf(inside)); ++i) takeAfter(1'000);
    folder.addDirectory("build");
    write("build/a.qvp");
    EXPECT_EQ(takeNext(), Texts{"a.qvp"});
    write("build/a.qvp");
    EXPECT_EQ(takeNext(), Texts{"a.qvp"});
}

TEST_F(ReloadWatchTest, watchesAFolderThatDoesNotExistYet) {
    listen({"build/plugins/a.qvp"});
    EXPECT_EQ(watch.problem(), "");
    EXPECT_EQ(takeAfter(2'000), Texts());
    folder.addDirectory("build/plugins");
    write("build/plugins/a.qvp");
    EXPECT_EQ(takeNext(), Texts{"a.qvp"});
}

TEST_F(ReloadWatchTest, findsNewFilesInFolders) {
    write("old.qvp");
    watch.setFolders({folder.path()});
    EXPECT_EQ(takeAfter(1'000), Texts());
    write("new.qvp");
    write("other.txt");
    write(".hidden.txt");
    EXPECT_EQ(takeNext(), Texts{"new.qvp"});
    write("old.qvp");
    EXPECT_EQ(takeNext(), Texts{"old.qvp"});
    std::filesystem::remove(pathOf(path("new.qvp")));
    EXPECT_EQ(takeAfter(1'000), Texts());
    write("new.qvp");
    EXPECT_EQ(takeNext(), Texts{"new.qvp"});
}

TEST_F(ReloadWatchTest, survivesMoreChangesThanTheSystemKeeps) {
    write("a.qvp");
    listen({"a.qvp"});
    write("a.qvp");
    // Linux keeps 16,384 notices by default, Windows as many as its buffer holds.
    for (int i = 0; i < 9'000; ++i) {
        const auto other = pathOf(path("some other file with a rather long name " + std::to_string(i)));
        { const std::ofstream created(other); }
        std::filesystem::remove(other);
    }
    write("a.qvp");
    EXPECT_EQ(takeNext(), Texts{"a.qvp"});
}

#ifndef _WIN32
TEST_F(ReloadWatchTest, followsLinks) {
    folder.addDirectory("build");
    write("build/one.qvp");
    folder.addDirectory("other");
    write("other/two.qvp");
    std::filesystem::create_symlink("build/one.qvp", pathOf(path("a.qvp")));
    listen({"a.qvp"});
    write("build/one.qvp");
    EXPECT_EQ(takeNext(), Texts{"a.qvp"});
    std::filesystem::create_symlink("other/two.qvp", pathOf(path("link")));
    std::filesystem::rename(pathOf(path("link")), pathOf(path("a.qvp")));
    EXPECT_EQ(takeNext(), Texts{"a.qvp"});
    write("build/one.qvp");
    EXPECT_EQ(takeAfter(1'000), Texts());
    write("other/two.qvp");
    EXPECT_EQ(takeNext(), Texts{"a.qvp"});
}

TEST_F(ReloadWatchTest, watchesNoFolderThatIsNoLongerNeeded) {
    const auto watched = [] {
        std::size_t count = 0;
        for (const auto& file : std::filesystem::directory_iterator("/proc/self/fdinfo")) {
            const std::string text = readFile(file.path().string());
            for (auto at = text.find("inotify wd:"); at != text.npos; at = text.find("inotify wd:", at + 1))
                ++count;
        }
        return count;
    };
    listen({"a.qvp"});
    EXPECT_EQ(watched(), 1U);
    folder.addDirectory("build");
    listen({"build/a.qvp"});
    EXPECT_EQ(watched(), 1U);
}

TEST_F(ReloadWatchTest, findsAnotherFolderUnderTheSameName) {
    folder.addDirectory("parent/build");
    write("parent/build/a.qvp");
    listen({"parent/build/a.qvp"});
    EXPECT_EQ(takeAfter(2'000), Texts());
    std::filesystem::rename(pathOf(path("parent")), pathOf(path("old")));
    folder.addDirectory("parent/build");
    write("parent/build/a.qvp");
    EXPECT_EQ(takeNext(), Texts{"a.qvp"});
}

TEST_F(ReloadWatchTest, looksAtFoldersThatCannotBeWatched) {
    write("a.qvp");
    inFork([this] {
        const LogCapture capture;
        denyCalls({SYS_inotify_add_watch});
        listen({"a.qvp"});
        EXPECT_EQ(watch.problem(), folder.path() + " cannot be watched: Operation not permitted");
        EXPECT_EQ(takeAfter(10'000), Texts());
        write("a.qvp");
        EXPECT_EQ(takeNext(), Texts{"a.qvp"});
        EXPECT_EQ(takeAfter(10'000), Texts());
        EXPECT_EQ(
            LogCapture::takeTexts(),
            Texts{"The folder " + folder.path() +
                  " is looked at once a second, because it cannot be watched: Operation not permitted\n"});
    });
}

TEST_F(ReloadWatchTest, namesTheLimitOfWatches) {
    write("a.qvp");
    inFork([this] {
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        const rlimit none{0, limit.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
        listen({"a.qvp"});
        EXPECT_NE(watch.problem().find("fs.inotify.max_user_instances"), std::string::npos);
        setrlimit(RLIMIT_NOFILE, &limit);
        EXPECT_EQ(takeAfter(2'000), Texts());
        EXPECT_EQ(watch.problem(), "");
        write("a.qvp");
        EXPECT_EQ(takeNext(), Texts{"a.qvp"});
    });
}

TEST_F(ReloadWatchTest, aForkedProcessWatchesByItself) {
    write("a.qvp");
    listen({"a.qvp"});
    inFork([this] {
        EXPECT_EQ(takeAfter(2'000), Texts());
        write("a.qvp");
        EXPECT_EQ(takeNext(), Texts{"a.qvp"});
        listen({});
    });
    EXPECT_EQ(takeNext(), Texts{"a.qvp"});
    write("a.qvp");
    EXPECT_EQ(takeNext(), Texts{"a.qvp"});
}
#endif
