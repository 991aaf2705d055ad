#include <QvPlatform/filesystem/Directory.h>

#include "support/HiddenFile.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace {

using QvPlatform::Directory;
using QvPlatform::File;
using support::TemporaryFolder;
using Names = std::multiset<std::string>;

template <typename Path>
Names namesOf(const std::vector<Path>& paths) {
    Names names;
    for (const Path& path : paths) {
        EXPECT_TRUE(path.exists()) << path.toUniversalPath();
        names.insert(path.getName());
    }
    return names;
}

TEST(DirectoryListing, givesWholePathsButNoHiddenFiles) {
    const TemporaryFolder folder;
    folder.addFile("plain.txt");
    folder.addFile("\xE5\x90\x8D\xE5\x89\x8D.qvp");
    folder.addDirectory("sub/deeper");
    folder.addFile("sub/inner.txt");
    folder.addDirectory("\xC3\xA9");
    support::addHidden(folder, "hidden.txt");
    const std::string hiddenFolder = support::addHidden(folder, "hidden/");
    const Directory directory(folder.path());

    EXPECT_EQ(namesOf(directory.files()), (Names{"plain.txt", "\xE5\x90\x8D\xE5\x89\x8D.qvp"}));
    EXPECT_EQ(namesOf(directory.directories()), (Names{"sub", "\xC3\xA9", hiddenFolder}));
    EXPECT_EQ(directory.directory("sub").files().front().toUniversalPath(), folder.path() + "sub/inner.txt");
    EXPECT_EQ(directory.directory("sub").directories().front().toUniversalPath(),
              folder.path() + "sub/deeper/");
}

TEST(Exists, tellsFilesFromDirectories) {
    const TemporaryFolder folder;
    const std::string file = folder.addFile("\xC3\xA9.txt");
    folder.addDirectory("sub");
    const Directory directory(folder.path());
    EXPECT_TRUE(directory.exists() && File(file).exists());
    EXPECT_FALSE(Directory(file).exists());
    EXPECT_FALSE(File(folder.path() + "sub").exists());
    EXPECT_FALSE(File(folder.path() + "missing").exists());
    EXPECT_TRUE(directory.hasFile("\xC3\xA9.txt") && !directory.hasDirectory("\xC3\xA9.txt"));
    EXPECT_TRUE(directory.hasDirectory("sub") && !directory.hasFile("sub"));
    EXPECT_TRUE(directory.hasFile("sub/../\xC3\xA9.txt"));
    EXPECT_FALSE(directory.hasFile("missing") || directory.hasDirectory("missing"));
    EXPECT_TRUE(directory.hasDirectory(""));
}

#ifndef _WIN32
// Names that only a file system with arbitrary bytes supports.
TEST(DirectoryListing, bringsEveryNameOfTheFileSystemBack) {
    const TemporaryFolder folder;
    const Names names{"back\\slash", "\xFF\xFE.bin", "\xED\xA0\x80", "cut\xE5\x90", "new\nline", "a:b"};
    for (const std::string& name : names) {
        folder.addFile("f" + name);
        folder.addDirectory("d" + name);
    }
    Names files;
    for (const File& file : Directory(folder.path()).files()) {
        EXPECT_TRUE(file.exists()) << file.toUniversalPath();
        EXPECT_EQ(file.getFolderPath(), folder.path());
        EXPECT_EQ(support::readFile(file.toUniversalPath()), "content");
        files.insert(file.getName().substr(1));
    }
    EXPECT_EQ(files, names);
    Names directories;
    for (const Directory& directory : Directory(folder.path()).directories()) {
        EXPECT_TRUE(directory.exists()) << directory.toUniversalPath();
        EXPECT_EQ(directory.parent().toUniversalPath(), folder.path());
        directories.insert(directory.getName().substr(1));
    }
    EXPECT_EQ(directories, names);
}

TEST(DirectoryListing, takesLinksAsWhatTheyPointTo) {
    const TemporaryFolder folder;
    const std::string path = folder.path();
    std::filesystem::create_directory_symlink(folder.addDirectory("target"), path + "toDirectory");
    std::filesystem::create_symlink(folder.addFile("file"), path + "toFile");
    std::filesystem::create_symlink(path + "missing", path + "dangling");
    const Directory directory(path);
    EXPECT_EQ(namesOf(directory.directories()), (Names{"target", "toDirectory"}));
    EXPECT_EQ(directory.files().size(), 3U);
    EXPECT_TRUE(directory.hasFile("toFile") && directory.hasDirectory("toDirectory"));
    EXPECT_FALSE(directory.hasFile("dangling") || directory.hasDirectory("dangling"));
    EXPECT_TRUE(File("/dev/null").exists());
}
#endif

TEST(DirectoryListing, reachesBeyond260Characters) {
    const TemporaryFolder folder;
    const std::string part(90, 'x');
    const std::string deep = folder.addDirectory(part + "/" + part + "/" + part + "/" + part);
    support::writeFile(deep + "file");
    ASSERT_EQ(Directory(deep).files().size(), 1U);
    EXPECT_EQ(Directory(deep).files().front().toUniversalPath(), deep + "file");
}

}  // namespace
