#include <QvPlatform/filesystem/Filesystem.h>

#include "TreeContent.h"
#include "support/HiddenFile.h"
#include "support/Platform.h"
#include "support/VariableChange.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <set>

#ifndef _WIN32
#include <sys/stat.h>
#endif

namespace {

namespace Filesystem = QvPlatform::Filesystem;
using QvPlatform::Directory;
using QvPlatform::File;
using support::kWindows;
using support::pathOf;
using support::readFile;
using support::TemporaryFolder;
using Names = std::set<std::string>;

constexpr std::int64_t kSomeTime = 1'000'000'000;  // seconds since 1970

void setModificationTime(const std::string& path) {
    const std::chrono::sys_seconds time{std::chrono::seconds(kSomeTime)};
    std::filesystem::last_write_time(pathOf(path), std::chrono::file_clock::from_sys(time));
}

/// A folder that each test must leave as it was.
class UnchangedFolderTest : public testing::Test {
protected:
    UnchangedFolderTest() {
        for (const char* name : {"a", "b"}) support::writeFile(path + name, name);
        for (const char* name : {"d/inner", "empty"}) folder.addDirectory(name);
        before = support::contentOf(path);
    }
    void TearDown() override { EXPECT_EQ(support::contentOf(path), before); }
    static bool copied(const File& from, const File& to) { return Filesystem::copy(from, to, true); }
    File file(const std::string& name) const { return Directory(path).file(name); }
    Directory directory(const std::string& name) const { return Directory(path).directory(name); }
    const TemporaryFolder folder;
    const std::string path = folder.path();
    support::TreeContent before;
};

TEST_F(UnchangedFolderTest, refusals) {
    EXPECT_FALSE(Filesystem::copy(file("a"), file("b"), false));
    for (const char* target : {"a", kWindows ? "A" : "d/../a", "d", "missing/a", "b/a"})
        EXPECT_FALSE(copied(file("a"), file(target))) << target;
    for (const char* source : {"missing", "d"})
        EXPECT_FALSE(copied(file(source), file("b")) || Filesystem::copy(file(source), directory("d"), true));
    EXPECT_FALSE(Filesystem::copy(file("a"), directory("missing"), true));
    EXPECT_FALSE(Filesystem::copy(directory("missing"), directory("new"), true));
    EXPECT_FALSE(Filesystem::remove(file("empty")) || Filesystem::remove(file("missing")));
    EXPECT_FALSE(Filesystem::remove(directory("a")) || Filesystem::remove(directory("missing")));
    EXPECT_TRUE(Filesystem::glob(directory("missing"), "*", true).empty());
    std::int64_t time = 0;
    EXPECT_FALSE(Filesystem::getLastModifiedTime(file("missing"), &time));
    EXPECT_FALSE(Filesystem::getLastModifiedTime(file("a"), nullptr));
}

// The system reads a path up to its first zero byte: it would read each of these as another path.
TEST_F(UnchangedFolderTest, namesWithAZeroByteAreRefused) {
    const std::string a("a\0b", 3);
    const std::string d("d\0b", 3);
    const std::string fresh("new\0b", 5);
    EXPECT_FALSE(file(a).exists() || directory(d).exists() || Directory(path).hasFile(a));
    EXPECT_FALSE(Filesystem::remove(file(a)) || Filesystem::remove(directory(d)));
    EXPECT_FALSE(copied(file(a), file("b")) || copied(file("b"), file(a)) || copied(file("b"), file(fresh)));
    EXPECT_FALSE(Filesystem::copy(directory(d), directory("new"), true));
    EXPECT_FALSE(Filesystem::copy(directory("d"), directory(fresh), true));
    EXPECT_FALSE(Filesystem::rename(file("a"), fresh) || Filesystem::rename(directory(d), "new"));
    EXPECT_FALSE(Filesystem::create(directory(fresh)));
    EXPECT_TRUE(Filesystem::create(file(fresh)));  // refused
    EXPECT_TRUE(directory(d).directories().empty() && Filesystem::glob(directory(d), "*", true).empty());
    EXPECT_FALSE(Filesystem::changeCurrentDirectory(directory(d)));
    std::int64_t time = 0;
    EXPECT_FALSE(Filesystem::getLastModifiedTime(file(a), &time));
    EXPECT_FALSE(Filesystem::createTempFile(a).exists());
}

TEST_F(UnchangedFolderTest, createMakesWhatIsMissingAbove) {
    for (int i = 0; i < 2; ++i) EXPECT_TRUE(Filesystem::create(directory("x/\xC3\xA9/z")));
    EXPECT_TRUE(Filesystem::create(file("x/y/file")) && directory("x/\xC3\xA9/z").exists());
    EXPECT_TRUE(readFile(path + "x/y/file").empty() && Filesystem::remove(directory("x")));
    const support::CurrentDirectoryChange change(path);
    EXPECT_FALSE(Filesystem::create(Directory()));
    EXPECT_FALSE(Filesystem::create(Directory("Q:/x/y")) || Filesystem::create(File("Q:/x/y")));
    EXPECT_TRUE(kWindows || !Filesystem::create(Directory("/proc/missing/x")));
    for (const char* taken : {"a", "a/x"})
        EXPECT_FALSE(Filesystem::create(directory(taken)) || Filesystem::create(file(taken)));
    // The system refuses it, but the result is true.
    EXPECT_TRUE(Filesystem::create(file("d")) && Filesystem::create(file(std::string(300, 'x'))));
}

TEST_F(UnchangedFolderTest, renameNeverReplaces) {
    for (const char* name : {"b", "empty", "", ".", "..", "empty/x", "empty\\x", "/x", "missing/x"}) {
        EXPECT_FALSE(Filesystem::rename(file("a"), name)) << name;
        EXPECT_FALSE(Filesystem::rename(directory("d"), name)) << name;
    }
    EXPECT_FALSE(Filesystem::rename(file("missing"), "x") || Filesystem::rename(directory("missing"), "x"));
    EXPECT_TRUE(Filesystem::rename(file("a"), "a") && Filesystem::rename(directory("d"), "d"));
    EXPECT_TRUE(Filesystem::rename(file("a"), "\xC3\xA9") && Filesystem::rename(directory("d"), "e"));
    EXPECT_TRUE(readFile(path + "\xC3\xA9") == "a" && directory("e/inner").exists());
    EXPECT_TRUE(Filesystem::rename(file("\xC3\xA9"), "a") && Filesystem::rename(directory("e"), "d"));
}

TEST_F(UnchangedFolderTest, changeCurrentDirectory) {
    const support::CurrentDirectoryChange restore(path);
    EXPECT_TRUE(Filesystem::changeCurrentDirectory(directory("d")));
    for (const char* name : {"missing", "a"})
        EXPECT_FALSE(Filesystem::changeCurrentDirectory(directory(name))) << name;
    EXPECT_TRUE(std::filesystem::exists("inner"));
    EXPECT_TRUE(Filesystem::changeCurrentDirectory(Directory()));
    EXPECT_EQ(std::filesystem::current_path().relative_path(), "");
}

#ifndef _WIN32
TEST_F(UnchangedFolderTest, linksCountAsTheirFiles) {
    setModificationTime(path + "a");
    std::filesystem::create_symlink("a", path + "link");
    std::filesystem::create_symlink("nowhere", path + "dangling");
    std::filesystem::create_hard_link(path + "a", path + "hard");
    for (const char* same : {"link", "hard"})
        EXPECT_FALSE(copied(file("a"), file(same)) || copied(file(same), file("a"))) << same;
    EXPECT_FALSE(Filesystem::create(directory("dangling")));
    EXPECT_TRUE(Filesystem::create(file("dangling")));  // refused
    EXPECT_FALSE(Filesystem::copy(file("a"), file("dangling"), false));
    EXPECT_FALSE(Filesystem::rename(file("a"), "dangling"));
    std::int64_t time = 0;
    EXPECT_FALSE(Filesystem::getLastModifiedTime(file("dangling"), &time));
    EXPECT_TRUE(Filesystem::getLastModifiedTime(file("link"), &time) && time == kSomeTime);
    EXPECT_TRUE(Filesystem::rename(file("dangling"), "renamed"));
    for (const char* name : {"renamed", "link", "hard"}) EXPECT_TRUE(Filesystem::remove(file(name))) << name;
}

TEST_F(UnchangedFolderTest, copyReadsRegularFilesOnlyAndAllOfThem) {
    ASSERT_EQ(mkfifo((path + "pipe").c_str(), 0600), 0);
    EXPECT_FALSE(copied(file("pipe"), file("new")) || copied(File("/dev/zero"), file("new")));
    EXPECT_FALSE(file("new").exists() || copied(file("a"), file("pipe")));
    EXPECT_TRUE(copied(File("/proc/version"), file("new")));  // its size reads as 0
    EXPECT_EQ(readFile(path + "new"), readFile("/proc/version"));
    EXPECT_TRUE(Filesystem::remove(file("new")) && Filesystem::remove(file("pipe")));
}
#endif

TEST(CopyOfAFile, keepsContentTimeAndPermissions) {
    const TemporaryFolder folder;
    const std::string source = folder.addFile("\xE5\x90\x8D.bin");
    const Directory target(folder.addDirectory("target"));
    const std::string copied = target.toUniversalPath() + "\xE5\x90\x8D.bin";
    std::string large;
    for (int i = 0; i < 500'000; ++i) large += std::to_string(i);
    for (const std::string& content : {large, std::string()}) {
        support::writeFile(source, content);
        std::filesystem::permissions(pathOf(source), std::filesystem::perms(0750));
        setModificationTime(source);
        EXPECT_TRUE(Filesystem::copy(File(source), target, true));
        EXPECT_FALSE(Filesystem::copy(File(source), target, false));
        EXPECT_TRUE(readFile(copied) == content);
        EXPECT_EQ(status(pathOf(copied)).permissions(), status(pathOf(source)).permissions());
        std::int64_t time = 0;
        EXPECT_TRUE(Filesystem::getLastModifiedTime(File(copied), &time));
        EXPECT_EQ(time, kSomeTime);
    }
}

TEST(Glob, matchesWholeNames) {
    const TemporaryFolder folder;
    const char* const accented = "\xC3\xA9.TXT";
    for (const char* name : {"a.QVP", "a.qvp.bak", "qvp", "ab.txt", "[ab].txt", "b.txt", accented})
        folder.addFile(name);
    folder.addDirectory("d.qvp");
    support::addHidden(folder, "h.txt");
    const std::map<std::string, Names> cases{
        {"*.qvp", {"a.QVP"}},
        {"?.txt", {"b.txt"}},
        {"??.txt", {"ab.txt", accented}},  // a question mark matches one byte
        {"\xC3\x89.txt", {}},              // only ASCII letters fold
        {"[ab].txt", {"[ab].txt"}},
        {"*B*", {"[ab].txt", "a.qvp.bak", "ab.txt", "b.txt"}},
        {"*.*", {"a.QVP", "a.qvp.bak", "ab.txt", "[ab].txt", "b.txt", accented}},
        {"", {}},
    };
    for (const auto& [pattern, expected] : cases) {
        Names names;
        for (const File& file : Filesystem::glob(Directory(folder.path()), pattern, false))
            names.insert(file.getName());
        EXPECT_EQ(names, expected) << pattern;
    }
}

TEST(Glob, listsSubdirectoriesFirst) {
    const TemporaryFolder folder;
    const std::string hidden = support::addHidden(folder, "hidden/") + "/";
    folder.addDirectory(hidden + "deep");
    std::vector<std::string> expected{"before", hidden + "deep/x.txt", hidden + "x.txt", "x.txt"};
    for (std::string& name : expected) name = folder.addFile(name);
    folder.addFile(".txt");
    std::vector<File> found{File(expected.front())};
    Filesystem::glob(Directory(folder.path()), "?.txt", true, found);
    ASSERT_EQ(found.size(), expected.size());
    for (std::size_t i = 0; i < found.size(); ++i) EXPECT_EQ(found[i].toUniversalPath(), expected[i]);
}

TEST(CreateUniqueName, countsInAllThreadsTogether) {
    const std::string head = "\xC3\xA9_" + std::to_string(getpid()) + "_";
    const std::string first = Filesystem::createUniqueName("\xC3\xA9");
    ASSERT_EQ(first.substr(0, head.size()), head);
    const auto makeNames = [] {
        Names names;
        while (names.size() < 1000) names.insert(Filesystem::createUniqueName(""));
        return names;
    };
    std::vector<std::future<Names>> threads(8);
    for (auto& thread : threads) thread = std::async(std::launch::async, makeNames);
    Names all;
    for (auto& thread : threads) all.merge(thread.get());
    EXPECT_EQ(all.size(), 8000U);
    const auto last = std::stoul(first.substr(head.size())) + 8001;
    EXPECT_EQ(Filesystem::createUniqueName("\xC3\xA9"), head + std::to_string(last));
}

TEST(CreateTempFile, isPrivateAndAlwaysAnotherOne) {
    Names paths;
    for (int i = 0; i < 50; ++i) {
        const File file = Filesystem::createTempFile(i % 2 ? "pre" : "");
        EXPECT_EQ(Directory(file), Directory(Directory::kTemporaryDirectory));
        EXPECT_EQ(file.getName().find(i % 2 ? "filesystemTest_pre_" : "filesystemTest_"), 0U);
        EXPECT_FALSE(Filesystem::createTempFileName("pre").exists());
        const std::filesystem::path path = pathOf(file.toUniversalPath());
        EXPECT_TRUE(kWindows || status(path).permissions() == std::filesystem::perms(0600));
        EXPECT_TRUE(is_empty(path) && paths.insert(file.toUniversalPath()).second);
    }
    for (const std::string& path : paths) std::filesystem::remove(pathOf(path));
    EXPECT_FALSE(Filesystem::createTempFile(std::string(300, 'x')).exists());
    const support::VariableChange missing(kWindows ? "TMP" : "TMPDIR", kWindows ? "Q:/x" : "/proc/missing");
    EXPECT_FALSE(Filesystem::createTempFile("pre").exists());
}

}  // namespace
