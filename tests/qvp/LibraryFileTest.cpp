#include "binary/LibraryFile.h"

#include "Specimens.h"
#include "support/Platform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

using qvp::LibraryFile;
using support::kWindows;
using Problem = LibraryFile::Problem;

namespace {

LibraryFile readContent(const support::TemporaryFolder& folder, const std::string& content) {
    const std::string path = folder.path() + "file.qvp";
    support::writeFile(path, content);
    return qvp::readLibraryFile(path, qvp::Exports::read);
}

}  // namespace

TEST(LibraryFile, ReadsWhatALibrarySaysOfItself) {
    const LibraryFile file = qvp::readLibraryFile(support::specimen("needsLibrary"), qvp::Exports::read);
    EXPECT_EQ(file.problem, Problem::none) << file.errorText;
    EXPECT_EQ(file.description, kWindows ? "PE library, x86-64" : "ELF shared library, x86-64");
    const std::string library = kWindows ? "libspecimenMiddle.dll" : "libspecimenMiddle.so";
    EXPECT_EQ(std::count(file.needed.begin(), file.needed.end(), library), 1);
    auto exported = file.exportedNames;
    std::sort(exported.begin(), exported.end());
    const std::vector<std::string> expected{"GetPluginBuildInfo", "GetPluginInfo", "InitializePlugin",
                                            "UninitializePlugin"};
    // Sanitizers add names of their own.
    EXPECT_TRUE(std::includes(exported.begin(), exported.end(), expected.begin(), expected.end()));
    EXPECT_EQ(file.size, support::readFile(file.path).size());
    EXPECT_GT(file.modified, 1'600'000'000);
    if (kWindows) return;
    EXPECT_EQ(file.buildId.size(), 40U);
    EXPECT_EQ(file.buildId.find_first_not_of("0123456789abcdef"), std::string::npos);
    const std::string runPath = file.runpath ? *file.runpath : file.rpath.value_or("");
    EXPECT_NE(runPath.find(file.path.substr(0, file.path.rfind('/'))), std::string::npos) << runPath;
}

TEST(LibraryFile, SaysWhatAFileIsThatIsNoLibraryOfThisSystem) {
    const support::TemporaryFolder folder;
    const std::string whole = support::readFile(support::specimen("good"));
    const std::string elf = std::string(
                                "\x7F"
                                "ELF\2\1\1",
                                7) +
                            std::string(9, '\0') + std::string("\3\0\xB7\0", 4);
    const std::string pe = "MZ" + std::string(58, '\0') + std::string("\x40\0\0\0PE\0\0\x64\xAA", 10) +
                           std::string(16, '\0') + std::string("\0\x20", 2);
    const std::string needed = ", and this system needs x86-64";
    const std::vector<std::pair<std::string, std::string>> cases{
        {"", "it is an empty file, not a shared library"},
        {"GetPluginInfo\n", "it is a text file, not a shared library"},
        {"#!/bin/sh\n", "it is a script, not a shared library"},
        {"!<arch>\n", "it is a static library, not a shared library"},
        {std::string("\0\1\2", 3), "it is a data file, not a shared library"},
        {"MZ", "it is a DOS program, not a shared library"},
        {elf, "it is an ELF shared library, AArch64" + needed},
        {pe, "it is a PE library, AArch64" + needed}};
    for (const auto& [content, text] : cases) {
        const LibraryFile file = readContent(folder, content);
        EXPECT_EQ(file.errorText, text);
        EXPECT_EQ(file.problem, text.find("not a shared") != std::string::npos ? Problem::notALibrary
                                                                               : Problem::wrongArchitecture);
    }
    EXPECT_EQ(qvp::readLibraryFile(folder.path(), qvp::Exports::skip).errorText, "it is not a file");
    const LibraryFile missing = qvp::readLibraryFile(folder.path() + "none", qvp::Exports::skip);
    EXPECT_EQ(missing.problem, Problem::missing);
    EXPECT_EQ(missing.errorNumber, 2);
    EXPECT_FALSE(missing.errorText.empty());
}

// Whatever is wrong with it, there is an answer, and each problem has a text.
TEST(LibraryFile, SurvivesDamagedFiles) {
    const support::TemporaryFolder folder;
    const std::string whole = support::readFile(support::specimen("good"));
    const auto check = [&](const std::string& content) {
        const LibraryFile file = readContent(folder, content);
        EXPECT_EQ(file.problem == Problem::none, file.errorText.empty());
        return file.problem;
    };
    // What lies at the end of a file, such as debug information, the loader does not need.
    for (std::size_t size = 0; size < 1000; size += 7)
        EXPECT_NE(check(whole.substr(0, size)), Problem::none) << size;
    for (std::size_t size = 1000; size < whole.size(); size += 1 + whole.size() / 100)
        EXPECT_TRUE(check(whole.substr(0, size)) != Problem::none || size > 8192) << size;
    std::mt19937 random(1);  // NOLINT: the same each time
    const std::size_t headers = std::min<std::size_t>(whole.size(), 8192);
    for (int i = 0; i < 600; ++i) {
        std::string content = whole;
        for (int changes = 0; changes < 1 + i % 8; ++changes)
            content[random() % headers] = static_cast<char>(i % 3 == 0 ? 0xFF : random());
        check(content);
    }
}
