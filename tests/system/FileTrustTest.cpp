#include <QvPlatform/filesystem/Directory.h>

#include "os/FileTrust.h"
#include "support/Rights.h"

#include <gtest/gtest.h>

#include <random>

#ifndef _WIN32
#include "support/ForkAsNobody.h"

#include <sys/stat.h>
#endif

namespace {

using support::pathOf;

/// A folder with a file next to this program, where only trusted users can write.
class FileTrust : public testing::Test {
protected:
    FileTrust() {
        std::filesystem::create_directory(pathOf(folder_));
        support::writeFile(file_);
    }
    ~FileTrust() override { std::filesystem::remove_all(pathOf(folder_)); }

    void SetUp() override {
        if (const auto weak = os::findWeakPoint(file_)) GTEST_SKIP() << weak->path << " " << weak->why;
    }

    static std::string weakness(const std::string& path) {
        const auto weak = os::findWeakPoint(path);
        return weak ? weak->path + " " + weak->why : "";
    }

    const std::string folder_ =
        QvPlatform::Directory(QvPlatform::Directory::kExecutableDirectory).toUniversalPath() + "trust" +
        std::to_string(std::random_device()());
    const std::string file_ = folder_ + "/file";
};

TEST_F(FileTrust, missesNobodyWhoMayWrite) {
    EXPECT_EQ(weakness(folder_ + "/"), "");
    support::letEveryoneWrite(file_);
    EXPECT_EQ(weakness(file_), file_ + " is writable by everyone");
    EXPECT_EQ(weakness(folder_), "");
    support::letEveryoneWrite(folder_);
    EXPECT_EQ(weakness(file_), folder_ + " is writable by everyone");
    EXPECT_NE(weakness(folder_ + "/missing/file"), "");
}

#ifndef _WIN32
void allow(const std::string& path, unsigned int mode) { ASSERT_EQ(chmod(path.c_str(), mode), 0); }

TEST_F(FileTrust, countsTheGroupAndTheStickyBitDoesNotHelp) {
    allow(file_, 0664);
    EXPECT_EQ(weakness(file_), file_ + " is writable by its group");
    allow(file_, 0644);
    allow(folder_, 01777);
    EXPECT_EQ(weakness(file_), folder_ + " is writable by everyone");
}

TEST_F(FileTrust, followsLinksAndJudgesWhatIsOnTheWay) {
    const std::string open = folder_ + "/open";
    std::filesystem::create_directory(open);
    std::filesystem::create_symlink("../file", open + "/link");
    std::filesystem::create_symlink("open/link", folder_ + "/first");
    std::filesystem::create_symlink("self", folder_ + "/self");
    EXPECT_EQ(weakness(folder_ + "/first"), "");
    EXPECT_EQ(weakness(folder_ + "/self"), "");
    EXPECT_EQ(weakness("a:b"), "a:b is not an absolute path");
    allow(open, 0777);
    EXPECT_EQ(weakness(folder_ + "/first"), open + " is writable by everyone");
    EXPECT_EQ(weakness(open + "/../file"), open + " is writable by everyone");
}

TEST_F(FileTrust, takesTheOwnerForOneWhoMayWrite) {
    if (geteuid() != 0) GTEST_SKIP() << "may not give files away";
    ASSERT_EQ(chown(file_.c_str(), support::kNobody, support::kNobody), 0);
    EXPECT_EQ(weakness(file_), file_ + " belongs to user " + std::to_string(support::kNobody));
    support::inForkAsNobody([&] { EXPECT_EQ(weakness(file_), ""); });
}
#endif

}  // namespace
