#include <QvPlatform/filesystem/Directory.h>

#include "support/Platform.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using QvPlatform::Directory;
using QvPlatform::File;
using support::CurrentDirectoryChange;
using support::kWindows;
using support::TemporaryFolder;

static_assert(std::has_virtual_destructor_v<File> && !std::is_polymorphic_v<Directory>);

std::string withBackslashes(std::string text) {
    std::replace(text.begin(), text.end(), '/', '\\');
    return text;
}

TEST(PathTypes, areMadeFromText) {
    const TemporaryFolder folder;
    const std::string sub = folder.addDirectory("\xC3\xA9");
    const CurrentDirectoryChange change(sub);
    const std::string here = support::textOf(std::filesystem::current_path()) + "/";
    const std::string above = here.substr(0, here.size() - sizeof("\xC3\xA9"));
    for (const char* text : {"", ".", "./", ".\\."})
        EXPECT_EQ(Directory(text).toUniversalPath(), here) << text;
    EXPECT_EQ(Directory("..").toUniversalPath(), above);
    EXPECT_EQ(Directory("sub").toUniversalPath(), here + "sub/");
    EXPECT_EQ(File("x.txt").toUniversalPath(), here + "x.txt");
    EXPECT_EQ(File("..").toUniversalPath(), here + "..");
    EXPECT_EQ(File("").toUniversalPath(), here);
    EXPECT_EQ(File("").getName(), "");
    EXPECT_EQ(Directory("/a").toUniversalPath(), kWindows ? here + "/a/" : "/a/");
    EXPECT_EQ(Directory("C:\\a\\b").toUniversalPath(), "C:/a/b/");
    EXPECT_EQ(File("C:/a/./b/../c").toUniversalPath(), "C:/a/c");
    EXPECT_EQ(Directory("//srv/share").toUniversalPath(), "//srv/share/");
}

TEST(PathTypes, giveTheNativeFormOfTheirOwnForm) {
    EXPECT_EQ(Directory("C:\\a\\b").toNativePath(), "C:\\a\\b\\");
    EXPECT_EQ(File("//srv/share/f").toNativePath(), "\\\\srv\\share\\f");
    const Directory here(".");
    EXPECT_EQ(here.toNativePath(),
              kWindows ? withBackslashes(here.toUniversalPath()) : here.toUniversalPath());
    EXPECT_EQ(std::string({Directory::SEPARATOR_NATIVE, Directory::SEPARATOR_UNIVERSAL}), "\\/");
}

TEST(File, splitsItsPath) {
    const struct {
        const char* path;
        const char* folder;
        const char* base;
        const char* extension;
    } cases[] = {
        {"C:/d/lib.plugin.qvp", "C:/d/", "lib.plugin", ".qvp"},
        {"C:/d.e/name", "C:/d.e/", "name", ""},
        {"C:/.bashrc", "C:/", "", ".bashrc"},
        {"C:/a.", "C:/", "a", "."},
        {"C:/a/..", "C:/a/", ".", "."},
        {"C:/a/", "C:/a/", "", ""},
        {"C:foo", "", "C:foo", ""},
        {"//srv/\xE5\x90\x8D.\xC3\xA9", "//srv/", "\xE5\x90\x8D", ".\xC3\xA9"},
    };
    for (const auto& c : cases) {
        const File file(c.path);
        EXPECT_EQ(file.getFolderPath(), c.folder);
        EXPECT_EQ(file.getBaseName(), c.base) << c.path;
        EXPECT_EQ(file.getExtension(), c.extension) << c.path;
        EXPECT_EQ(file.getName(), std::string(c.base) + c.extension) << c.path;
        EXPECT_EQ(Directory(file).toUniversalPath(), c.folder);
    }
}

TEST(Directory, namesItsLastComponentAndItsParent) {
    const struct {
        const char* path;
        const char* name;
        const char* parent;
    } cases[] = {{"C:/a/b/", "b", "C:/a/"}, {"C:/x/", "x", "C:/"},       {"C:/", "C:", ""},
                 {"//srv/", "srv", "//"},   {"//srv/s/", "s", "//srv/"}, {"C:/../x/", "x", "C:/../"}};
    for (const auto& c : cases) {
        EXPECT_EQ(Directory(c.path).getName(), c.name) << c.path;
        EXPECT_EQ(Directory(c.path).parent().toUniversalPath(), c.parent) << c.path;
    }
    if (kWindows) return;
    EXPECT_EQ(Directory("/").parent().toUniversalPath(), "/");
    EXPECT_EQ(Directory("/").getName(), "");
    EXPECT_EQ(Directory("/x").parent().toUniversalPath(), "/");
}

TEST(Directory, hasAParentWhenItExistsAndIsNoRoot) {
    const TemporaryFolder folder;
    const std::string path = folder.path();
    folder.addFile("file");
    EXPECT_TRUE(Directory(path).hasParent());
    EXPECT_TRUE(Directory(path + "missing").hasParent());
    EXPECT_FALSE(Directory(path + "missing/sub").hasParent());
    for (const char* text : {"C:/", "C:/x", "D:/x/"}) EXPECT_FALSE(Directory(text).hasParent()) << text;
    EXPECT_EQ(Directory("//srv/").hasParent(), !kWindows);  // "//" is a root only on Linux
    if (kWindows) return;
    EXPECT_FALSE(Directory("/").hasParent());
    EXPECT_FALSE(Directory("/tmp").hasParent());
}

TEST(Directory, comparesWithoutLetterCase) {
    EXPECT_TRUE(Directory("C:/A/") == Directory("c:/a"));
    EXPECT_FALSE(Directory("C:/A/") < Directory("c:/a") || Directory("c:/a") < Directory("C:/A/"));
    EXPECT_FALSE(Directory("C:/\xC3\x89") == Directory("C:/\xC3\xA9"));
    EXPECT_TRUE(Directory("C:/a_b") < Directory("C:/AAB"));
    EXPECT_TRUE(File("C:/a_b") < File("C:/AAB"));
    EXPECT_NE(Directory("C:/A").widePath(), Directory("C:/a").widePath());
}

TEST(Directory, tellsThePathRelativeToAnother) {
    const struct {
        const char* path;
        const char* base;
        const char* universal;
        const char* native;
    } cases[] = {
        {"C:/a/b/c", "C:/a", "b/c/", "b\\c\\"},
        {"C:/a/b/c", "c:/A", "b/c/", "b\\c\\"},
        {"C:/a", "C:/A", "", ""},
        {"C:/a", "C:/a/b", "C:/a/", "C:\\a\\"},
        {"C:/ab", "C:/a", "C:/ab/", "C:\\ab\\"},
        {"//srv/a/b", "//SRV", "a/b/", "a\\b\\"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Directory(c.path).relativeTo(Directory(c.base), false), c.universal) << c.path;
        EXPECT_EQ(Directory(c.path).relativeTo(Directory(c.base), true), c.native) << c.path;
    }
    const Directory here(".");
    EXPECT_EQ(here.directory("b").directory("c").relativeTo(here, true), kWindows ? "b\\c\\" : "b/c/");
    EXPECT_EQ(here.relativeTo(Directory(), false), here.toUniversalPath());
}

TEST(Directory, findsTheCommonRoot) {
    const TemporaryFolder folder;
    const Directory a(folder.addDirectory("a"));
    const Directory b(folder.addDirectory("a/b"));
    const Directory c(folder.addDirectory("a/c"));
    const Directory other(folder.addDirectory("other"));
    const auto rootOf = [](std::vector<Directory> directories) {
        const auto root = Directory::commonRootOf(std::move(directories));
        return root ? root->toUniversalPath() : "none";
    };
    EXPECT_EQ(rootOf({}), "none");
    EXPECT_EQ(rootOf({Directory("Q:/missing")}), "Q:/missing/");
    EXPECT_EQ(rootOf({b, c}), a.toUniversalPath());
    EXPECT_EQ(rootOf({b, c, other}), folder.path());
    EXPECT_EQ(rootOf({a, b}), a.toUniversalPath());
    EXPECT_EQ(rootOf({b, b.parent().directory("B")}), a.toUniversalPath());  // case-sensitive
    EXPECT_EQ(rootOf({a.directory("missing/1"), a.directory("missing/2")}), "none");
    EXPECT_EQ(rootOf({Directory("C:/a"), Directory("C:/b")}), "none");  // roots have no common root
    EXPECT_EQ(rootOf({Directory(), b}), "");
}

}  // namespace
