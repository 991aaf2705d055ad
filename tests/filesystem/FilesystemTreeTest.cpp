#include <QvPlatform/filesystem/Filesystem.h>

#include "TreeContent.h"
#include "support/HiddenFile.h"
#include "support/Platform.h"
#include "support/VariableChange.h"

#include <gtest/gtest.h>

#ifndef _WIN32
#include "support/ForkAsNobody.h"

#include <sys/mount.h>
#endif

namespace {

namespace Filesystem = QvPlatform::Filesystem;
using QvPlatform::Directory;
using QvPlatform::File;
using support::contentOf;
using support::kWindows;
using support::TemporaryFolder;
using support::TreeContent;
using support::writeFile;

// Sanitizers run on unoptimised builds.
#if defined(NDEBUG) && !defined(_WIN32)
constexpr int kFiles = 100'000;
#else
constexpr int kFiles = kWindows ? 5'000 : 10'000;
#endif

TEST(Tree, ofManyFilesIsFoundCopiedAndRemoved) {
    const support::VariableChange inMemory("TMPDIR", "/dev/shm");  // a busy disk may take minutes
    const TemporaryFolder folder;
    for (int i = 0; i < kFiles; ++i) {
        const std::string inner = "source/" + std::to_string(i % 20) + "/" + std::to_string(i % 1000) + "/";
        if (i < 1000) folder.addDirectory(inner);
        writeFile(folder.path() + inner + std::to_string(i) + ".txt", i < 2000 ? std::to_string(i) : "");
    }
    const Directory source(folder.path() + "source");
    const Directory target(folder.path() + "new/target");
    EXPECT_EQ(Filesystem::glob(source, "*.TXT", true).size(), std::size_t{kFiles});
    EXPECT_TRUE(Filesystem::copy(source, target, false));
    EXPECT_TRUE(contentOf(target.toUniversalPath()) == contentOf(source.toUniversalPath()));
    EXPECT_TRUE(Filesystem::remove(target) && !target.exists());
}

TEST(Tree, isCopiedIntoWhatIsThereWithoutHiddenFiles) {
    const TemporaryFolder source;
    const TemporaryFolder target;
    const std::string hidden = support::addHidden(source, "hidden/");
    support::addHidden(source, "left out");
    for (const TemporaryFolder* folder : {&source, &target}) folder->addDirectory("sub");
    for (const std::string& name : {hidden + "/a", std::string("sub/b")}) source.addFile(name);
    for (const char* name : {"sub/b", "sub/c"}) writeFile(target.path() + name, "old");
    EXPECT_FALSE(Filesystem::copy(Directory(source.path()), Directory(target.path()), false));
    EXPECT_EQ(support::readFile(target.path() + "sub/b"), "old");
    EXPECT_TRUE(Filesystem::copy(Directory(source.path()), Directory(target.path()), true));
    const TreeContent merged{
        {hidden, "/"}, {hidden + "/a", "content"}, {"sub", "/"}, {"sub/b", "content"}, {"sub/c", "old"}};
    EXPECT_EQ(contentOf(target.path()), merged);
}

TEST(Tree, isNotCopiedIntoItself) {
    const TemporaryFolder folder;
    folder.addDirectory("tree/sub");
    folder.addFile("tree/sub/a");
    const Directory tree(folder.path() + "tree");
    const std::string link = kWindows ? "TREE/SUB" : "link";
    if (!kWindows) std::filesystem::create_directory_symlink("tree/sub", folder.path() + link);
    const TreeContent before = contentOf(folder.path());
    for (const std::string& inside :
         {std::string("tree"), std::string("tree/sub"), std::string("tree/new/er"), link, link + "/new/er"})
        EXPECT_FALSE(Filesystem::copy(tree, Directory(folder.path() + inside), true)) << inside;
    EXPECT_FALSE(Filesystem::copy(Directory(folder.path() + link), tree.directory("sub/new"), true));
    EXPECT_EQ(contentOf(folder.path()), before);
    EXPECT_TRUE(Filesystem::copy(tree, Directory(folder.addDirectory("tree-2")), true));
    EXPECT_TRUE(Filesystem::copy(tree.directory("sub"), tree, true) && tree.hasFile("a"));
}

TEST(Tree, withAHiddenFileStays) {
    const TemporaryFolder folder;
    const Directory root(folder.path());
    const std::string inner = folder.addDirectory("sub/inner");
    for (const char* name : {"sub/inner/visible", "sub/after", "after"}) folder.addFile(name);
    folder.addFile(support::addHidden(folder, "directory/") + "/file");
    const std::string hidden = support::addHidden(folder, "hidden");
    std::filesystem::rename(support::pathOf(folder.path() + hidden), support::pathOf(inner + hidden));
    EXPECT_FALSE(Filesystem::remove(root));
    EXPECT_EQ(contentOf(inner), (TreeContent{{hidden, "content"}}));
    EXPECT_TRUE(root.hasFile("after") && root.hasFile("sub/after"));
    EXPECT_TRUE(Filesystem::remove(File(inner + hidden)) && Filesystem::remove(root) && !root.exists());
}

TEST(Tree, keepsEveryName) {
    const TemporaryFolder folder;
    std::vector<std::string> names{"\xE5\x90\x8D", std::string(kWindows ? 60 : 255, 'x')};
    if (!kWindows) names.insert(names.end(), {"back\\slash", "\xFF\xFE", "new\nline", "a:b", "*"});
    for (const std::string& name : names) {
        folder.addDirectory("source/" + name);
        folder.addFile("source/" + name + "/" + name);
    }
    const Directory source(folder.path() + "source");
    const Directory target(folder.path() + "target");
    EXPECT_EQ(Filesystem::glob(source, "*", true).size(), names.size());
    EXPECT_TRUE(Filesystem::glob(source, "*x*x*x*x*x*x*x*x*y", true).empty());  // at once
    EXPECT_TRUE(Filesystem::copy(source, target, false) && Filesystem::copy(source, target, true));
    EXPECT_EQ(contentOf(target.toUniversalPath()), contentOf(source.toUniversalPath()));
    EXPECT_TRUE(Filesystem::remove(source) && !source.exists());
}

#ifndef _WIN32
TEST(Tree, endsAtLinks) {
    const TemporaryFolder outside;
    outside.addFile("a");
    const TemporaryFolder folder;
    folder.addDirectory("tree/sub");
    folder.addFile("tree/sub/a");
    const Directory tree(folder.path() + "tree");
    const Directory target(folder.path() + "new");
    const TreeContent links{{"loop", "../sub"},  {"up", ".."},     {"out", outside.path()},
                            {"gone", "nowhere"}, {"self", "self"}, {"file", "a"}};
    for (const auto& [name, to] : links)
        std::filesystem::create_symlink(to, folder.path() + "tree/sub/" + name);
    EXPECT_EQ(Filesystem::glob(tree, "a", true).size(), 1U);
    EXPECT_EQ(Filesystem::glob(tree, "*", true).size(), 4U);
    EXPECT_EQ(Filesystem::glob(tree.directory("sub/out"), "*", true).size(), 1U);  // named itself
    TreeContent expected = contentOf(tree.toUniversalPath());
    expected["sub/file"] = "content";
    for (const bool overwrite : {false, true}) {
        EXPECT_TRUE(Filesystem::copy(tree, target, overwrite));
        EXPECT_EQ(contentOf(target.toUniversalPath()), expected);
    }
    // Links in the target are replaced or refused, never written through.
    const Directory astray(folder.addDirectory("astray"));
    const std::string link = astray.toUniversalPath() + "sub";
    std::filesystem::create_symlink(outside.path(), link);
    EXPECT_FALSE(Filesystem::copy(tree, astray, true));
    writeFile(outside.path() + "a", "outside");
    for (const std::string& name : {outside.path(), outside.path() + "a", std::string("nowhere")}) {
        const Directory flat(folder.addDirectory("flat"));
        std::filesystem::create_symlink(name, folder.path() + "flat/a");
        EXPECT_FALSE(Filesystem::copy(tree.directory("sub"), flat, false));
        EXPECT_TRUE(Filesystem::copy(tree.directory("sub"), flat, true));
        EXPECT_EQ(contentOf(flat.toUniversalPath())["a"], "content");
        EXPECT_TRUE(Filesystem::remove(flat));
    }
    EXPECT_EQ(support::readFile(outside.path() + "a"), "outside");
    EXPECT_TRUE(Filesystem::remove(astray));
    EXPECT_TRUE(Filesystem::remove(tree.directory("sub/up")) && tree.hasFile("sub/a"));
    EXPECT_TRUE(Filesystem::remove(tree) && Filesystem::remove(target));
    EXPECT_TRUE(contentOf(folder.path()).empty() && contentOf(outside.path()).size() == 1);
}

TEST(Tree, staysWhereItCannotBeRead) {
    support::inForkAsNobody([] {
        using std::filesystem::perms;
        const TemporaryFolder folder;
        const std::string locked = folder.addDirectory("tree/locked");
        const Directory tree(folder.path() + "tree");
        const Directory target(folder.addDirectory("target"));
        for (const char* name : {"tree/b", "tree/locked/a"}) folder.addFile(name);
        std::filesystem::permissions(locked, perms::none);
        EXPECT_EQ(Filesystem::glob(tree, "*", true).size(), 1U);
        EXPECT_FALSE(Filesystem::remove(tree) || Filesystem::copy(Directory(locked), target, true));
        std::filesystem::permissions(locked, perms(0700));
        std::filesystem::permissions(locked + "a", perms::none);
        EXPECT_FALSE(Filesystem::copy(Directory(locked), target, true));
        EXPECT_TRUE(contentOf(target.toUniversalPath()).empty() && tree.hasFile("locked/a"));
    });
}

TEST(Tree, leavesAFullVolumeAsItWas) {
    const TemporaryFolder folder;
    const std::string full = folder.addDirectory("full");
    if (mount("tmpfs", full.c_str(), "tmpfs", 0, "size=64k") != 0) GTEST_SKIP() << "may not mount";
    folder.addDirectory("source");
    const File large(folder.path() + "source/old");
    writeFile(folder.path() + "source/old", std::string(200'000, 'x'));
    writeFile(full + "old", "old");
    for (const char* name : {"old", "new"}) EXPECT_FALSE(Filesystem::copy(large, File(full + name), true));
    EXPECT_FALSE(Filesystem::copy(Directory(large), Directory(full), true));
    EXPECT_EQ(contentOf(full), (TreeContent{{"old", "old"}}));
    umount2(full.c_str(), MNT_DETACH);
}
#endif

}  // namespace
