#include <QvPlatform/core/QvVersion.h>
#include <QvPlatform/filesystem/Directory.h>

#include "support/Platform.h"
#include "support/TemporaryFolder.h"
#include "support/VariableChange.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

namespace {

using QvPlatform::Directory;
using QvPlatform::File;
using support::kWindows;
using support::VariableChange;

std::string wellKnown(Directory::WellKnownDirectory which) { return Directory(which).toUniversalPath(); }

TEST(WellKnownDirectory, isTheCurrentOne) {
    const support::TemporaryFolder folder;
    const support::CurrentDirectoryChange change(folder.path());
    EXPECT_EQ(wellKnown(Directory::kCurrentDirectory),
              support::textOf(std::filesystem::current_path()) + "/");
}

TEST(WellKnownDirectory, isNoneForAnotherNumber) {
    for (const int number : {-1, 6, 1000})
        EXPECT_EQ(wellKnown(static_cast<Directory::WellKnownDirectory>(number)), "") << number;
}

TEST(WellKnownDirectory, isTheUsersOwn) {
    const char* const variable = kWindows ? "USERPROFILE" : "HOME";
    const std::string home = kWindows ? "C:\\users\\qv\\..\\x" : "/srv/qv/../x";
    const std::string universal = kWindows ? "C:/users/qv/../x/" : "/srv/qv/../x/";  // used unchanged
    for (const char* end : {"", "/"}) {
        const VariableChange change(variable, home + end);
        EXPECT_EQ(wellKnown(Directory::kUserProfile), universal);
    }
    for (const auto& none : {std::optional<std::string>(), std::optional<std::string>("")}) {
        const VariableChange change(variable, none);
        if (kWindows)
            EXPECT_EQ(wellKnown(Directory::kUserProfile), "%USERPROFILE%/");
        else
            EXPECT_NE(wellKnown(Directory::kUserProfile), "");  // the account's home
    }
}

TEST(WellKnownDirectory, isTheTemporaryOne) {
    EXPECT_TRUE(Directory(Directory::kTemporaryDirectory).exists());
    if (kWindows) return;
    {
        const VariableChange change("TMPDIR", "/x/../y");
        EXPECT_EQ(wellKnown(Directory::kTemporaryDirectory), "/x/../y/");
    }
    for (const std::string folder : {"/usr/", "/"}) {
        const support::CurrentDirectoryChange here(folder);
        const VariableChange change("TMPDIR", "../sub");
        EXPECT_EQ(wellKnown(Directory::kTemporaryDirectory), folder + "../sub/");
    }
    for (const auto& none : {std::optional<std::string>(), std::optional<std::string>("")}) {
        const VariableChange change("TMPDIR", none);
        EXPECT_EQ(wellKnown(Directory::kTemporaryDirectory), "/tmp/");
    }
}

TEST(ThatContains, findsTheProgramAndTheLibrary) {
    static int inProgram = 0;
    const File program = File::thatContains(&inProgram);
    EXPECT_EQ(program.getBaseName(), "filesystemTest");
    EXPECT_TRUE(program.exists());
    EXPECT_EQ(program.getFolderPath(), wellKnown(Directory::kExecutableDirectory));

    const File library = File::thatContains(const_cast<char*>(Qv::QvGetVersion()));
    EXPECT_NE(library.getName().find("QvPlatform"), std::string::npos);
    EXPECT_TRUE(library.exists());
    EXPECT_EQ(library.getFolderPath(), wellKnown(Directory::kLibraryDirectory));
}

TEST(ThatContains, isEmptyForOtherMemory) {
    int onStack = 0;
    const auto onHeap = std::make_unique<int>(0);
    EXPECT_EQ(File::thatContains(&onStack).toUniversalPath(), "");
    EXPECT_EQ(File::thatContains(onHeap.get()).toUniversalPath(), "");
}

#ifndef _WIN32
// Windows refuses to delete the current directory of a process.
TEST(WellKnownDirectoryDeathTest, isEmptyWhenTheCurrentOneWasDeleted) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto workInDeleted = [] {
        {
            const support::TemporaryFolder folder;
            std::filesystem::current_path(support::pathOf(folder.path()));
        }
        const bool isEmpty = wellKnown(Directory::kCurrentDirectory).empty() &&
                             Directory("").toUniversalPath() == "./" && File("x").toUniversalPath() == "x" &&
                             !Directory("x").exists();
        std::exit(isEmpty ? 0 : 1);
    };
    EXPECT_EXIT(workInDeleted(), testing::ExitedWithCode(0), "");
}
#endif

}  // namespace
