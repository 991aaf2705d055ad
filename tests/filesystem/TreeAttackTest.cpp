#include <QvPlatform/filesystem/Filesystem.h>

#include "TreeContent.h"
#include "support/VariableChange.h"

#include <gtest/gtest.h>

#include <functional>

#ifndef _WIN32
#include "support/DeniedCalls.h"
#include "support/ForkAsNobody.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include <atomic>
#include <thread>
#endif

namespace {

namespace Filesystem = QvPlatform::Filesystem;
using QvPlatform::Directory;
using QvPlatform::File;
using support::contentOf;
using support::TemporaryFolder;

#ifdef _WIN32
constexpr int kLevels = 20;
const std::string kName(60, 'x');

// The prefix lifts the limit of 260 characters.
void addLevels(const std::string& path) {
    std::wstring deepest = L"\\\\?\\" + support::pathOf(path).make_preferred().wstring();
    for (int i = 0; i < kLevels; ++i)
        std::filesystem::create_directory(deepest += L"\\" + support::pathOf(kName).wstring());
}

void onAScantThread(const std::function<void()>& work) { work(); }
#else
constexpr int kLevels = 2000;
const std::string kName(10, 'x');

void addLevels(const std::string& path) {
    int directory = open(path.c_str(), O_PATH);
    for (int i = 0; i < kLevels; ++i) {
        ASSERT_EQ(mkdirat(directory, kName.c_str(), 0777), 0);
        const int next = openat(directory, kName.c_str(), O_PATH);
        close(std::exchange(directory, next));
    }
    close(directory);
}

// With a stack of 512 KiB and few descriptors.
void onAScantThread(const std::function<void()>& work) {
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit few{64, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, std::size_t{512} * 1024);
    pthread_t thread{};
    const auto run = [](void* argument) -> void* {
        (*static_cast<const std::function<void()>*>(argument))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&work)), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    setrlimit(RLIMIT_NOFILE, &before);
}
#endif

TEST(Tree, mayBeOfAnyDepth) {
    const support::VariableChange inMemory("TMPDIR", "/dev/shm");  // a busy disk may take minutes
    const TemporaryFolder folder;
    const Directory tree(folder.addDirectory("tree"));
    const Directory target(folder.path() + "target");
    addLevels(folder.path() + "tree");
    folder.addFile("tree/a");
    onAScantThread([&] {
        EXPECT_TRUE(Filesystem::copy(tree, target, false) && Filesystem::copy(tree, target, true));
        EXPECT_EQ(Filesystem::glob(target, "a", true).size(), 1U);
        EXPECT_TRUE(Filesystem::remove(tree) && Filesystem::remove(target));
    });
    EXPECT_TRUE(contentOf(folder.path()).empty());
}

#ifndef _WIN32
/// Two trees and a folder outside of them. In the tree `attacked`, each folder is replaced by a link to the
/// outside folder and restored, repeatedly.
class Attack {
public:
    Attack() {
        outside.addDirectory("sub");
        for (const char* name : {"secret", "sub/secret"}) outside.addFile(name);
        for (const char* tree : {"tree/", "target/"})
            for (int i = 0; i < kFolders; ++i) folder.addDirectory(tree + std::to_string(i) + "/sub");
        for (int i = 0; i < kFolders; ++i) folder.addFile("tree/" + std::to_string(i) + "/sub/a");
        folder.addDirectory("aside");
    }

    void during(const std::string& attacked, const std::function<void()>& work) const {
        std::atomic<bool> isDone{false};
        std::thread attacker([&] {
            for (int i = 0; !isDone; i = (i + 1) % kFolders)
                exchange(folder.path() + attacked, std::to_string(i));
        });
        for (int round = 0; round < 30; ++round) work();
        isDone = true;
        attacker.join();
    }

    const TemporaryFolder outside;
    const TemporaryFolder folder;

private:
    static constexpr int kFolders = 30;

    void exchange(const std::string& tree, const std::string& name) const {
        const std::string link = folder.path() + "aside/link";
        const std::string directory = tree + name;
        [[maybe_unused]] int ignored = symlink(outside.path().c_str(), link.c_str());
        for (int i = 0; i < 2; ++i)
            ignored = renameat2(AT_FDCWD, directory.c_str(), AT_FDCWD, link.c_str(), RENAME_EXCHANGE);
        unlink(link.c_str());
    }
};

TEST(Tree, isNotLeftThroughLinksThatAppear) {
    const Attack attack;
    const Directory tree(attack.folder.path() + "tree");
    const Directory target(attack.folder.path() + "target");
    const support::TreeContent before = contentOf(attack.outside.path());
    attack.during("tree/", [&] { EXPECT_TRUE(Filesystem::glob(tree, "secret", true).empty()); });
    attack.during("target/", [&] { Filesystem::copy(tree, target, true); });
    attack.during("tree/", [&] { Filesystem::copy(tree, target, true); });
    EXPECT_TRUE(Filesystem::glob(target, "secret", true).empty());
    attack.during("tree/", [&] { Filesystem::remove(tree); });
    EXPECT_EQ(contentOf(attack.outside.path()), before);
}

TEST(Tree, isCopiedWhereTheSystemRefusesSome) {
    support::inForkAsNobody([] {
        const TemporaryFolder folder;
        const TemporaryFolder target;
        folder.addFile("a");
        support::denyCalls({SYS_fchmod, SYS_utimensat, SYS_getrandom});
        EXPECT_TRUE(Filesystem::copy(Directory(folder.path()), Directory(target.path()), false));
        EXPECT_EQ(contentOf(target.path()), contentOf(folder.path()));
        const File first = Filesystem::createTempFile("");
        const File second = Filesystem::createTempFile("");
        EXPECT_TRUE(first.exists() && second.exists() && first.getName() != second.getName());
        EXPECT_TRUE(Filesystem::remove(first) && Filesystem::remove(second));
        // What cannot be replaced stays.
        std::filesystem::create_symlink("nowhere", folder.path() + "b");
        target.addFile("b");
        support::denyCalls({SYS_symlink, SYS_symlinkat});
        EXPECT_FALSE(Filesystem::copy(Directory(folder.path()), Directory(target.path()), true));
        EXPECT_EQ(support::readFile(target.path() + "b"), "content");
    });
}

TEST(CopyOfAFile, isNotMadeThroughALinkOfAnotherUserWhereOthersMayPutIt) {
    const TemporaryFolder folder;
    const File source(folder.addFile("a"));
    const std::string own = folder.path() + "own";
    const std::string link = folder.path() + "link";
    support::writeFile(own, "before");
    std::filesystem::create_symlink("own", link);
    std::filesystem::permissions(folder.path(), std::filesystem::perms(01777));
    if (geteuid() != 0) GTEST_SKIP() << "may not give files away";
    ASSERT_EQ(lchown(link.c_str(), support::kNobody, support::kNobody), 0);
    EXPECT_FALSE(Filesystem::copy(source, File(link), true));
    EXPECT_EQ(support::readFile(own), "before");
    ASSERT_EQ(lchown(link.c_str(), geteuid(), getegid()), 0);
    EXPECT_TRUE(Filesystem::copy(source, File(link), true));
    EXPECT_EQ(support::readFile(own), "content");
    EXPECT_TRUE(std::filesystem::is_symlink(link));
}

TEST(CopyOfAFile, asksWhatTheEffectiveUserMay) {
    const uid_t before = geteuid();
    ASSERT_TRUE(before != 0 || seteuid(65534) == 0);
    {
        const TemporaryFolder folder;
        const File source(folder.addFile("a"));
        const std::string target = folder.addFile("b");
        std::filesystem::permissions(target, std::filesystem::perms(0400));
        EXPECT_FALSE(Filesystem::copy(source, File(target), true));
    }
    ASSERT_EQ(seteuid(before), 0);
}
#endif

}  // namespace
