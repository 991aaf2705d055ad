#include "binary/ElfReader.h"
#include "binary/LibraryFile.h"

#include "LibraryImages.h"
#include "Specimens.h"
#include "support/Platform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

using qvp::LibraryFile;
using support::kWindows;
using support::with;
using Problem = LibraryFile::Problem;

namespace {

LibraryFile readContent(const support::TemporaryFolder& folder, const std::string& content) {
    const std::string path = folder.path() + "file.qvp";
    support::writeFile(path, content);
    return qvp::readLibraryFile(path, qvp::Exports::read);
}

LibraryFile readBytes(const std::string& bytes) {
    return qvp::readLibraryContent(qvp::FileContent::ofBytes(bytes), qvp::Exports::read);
}

}  // namespace

TEST(LibraryFile, ReadsBothFormatsOnBothSystems) {
    const support::LibraryImage facts{{"first.lib", "second"}, support::entryPoints(), "$ORIGIN/below:/else"};
    for (const std::string& image : {support::elfImage(facts), support::peImage(facts)}) {
        const LibraryFile file = readBytes(image);
        EXPECT_EQ(file.problem, Problem::none) << file.errorText;
        EXPECT_EQ(file.needed, facts.needed);
        EXPECT_EQ(file.exportedNames, facts.exported);
        const bool isElf = file.kind == qvp::LibraryFormat::Kind::elf;
        EXPECT_EQ(file.runpath.value_or(""), isElf ? facts.runpath : "");
        EXPECT_EQ(file.buildId, isElf ? "0102ff7f" : std::string(32, '0') + "01020304");
        EXPECT_EQ(file.size, image.size());
    }
}

TEST(LibraryFile, RefusesTablesThatLie) {
    namespace elf = support::elfLayout;
    namespace pe = support::peLayout;
    const support::LibraryImage facts{{"needed"}, {"exported"}};
    const std::string first = support::elfImage(facts);
    const std::string second = support::peImage(facts);
    const support::LibraryImage repeated{{std::string(20'000, 'x')}, {}, {}, 20'000};
    const std::string beyond = " reach beyond its ";
    struct Case {
        std::string image;
        std::string text;
    };
    const std::vector<Case> cases{
        {with(first, elf::kSegmentCount, 0, 2), "its segments are missing"},
        {with(first, elf::kSegmentCount, 0xFFFF, 2), "its segments are missing"},
        {with(first, elf::kSegmentOffset, ~std::uint64_t{0}, 8), "its segments are missing"},
        {with(first, elf::kSegmentEntrySize, 1, 2), "its header is damaged"},
        {with(first, elf::kLoadSegment + elf::kSizeInSegment, ~std::uint64_t{0}, 8),
         "it is cut short: its segments" + beyond + std::to_string(first.size()) + " bytes"},
        {with(first, elf::kDynamicSegment, 0, 4), "its dynamic section is missing"},
        {with(first, elf::kDynamic + 8, first.size(), 8), "its string table is damaged"},
        {with(first, elf::kSymbolCount, 0xFFFFFFFF, 4), "its symbol table is damaged"},
        {support::elfImage(repeated), "its string table is damaged"},
        {with(second, pe::kOptional, 0x10B, 2), "its header is damaged"},
        {with(second, pe::kSectionCount, 0xFFFF, 2), "it is cut short"},
        {with(second, pe::kSectionSize, 0xFFFFFFFF, 4),
         "it is cut short: its sections" + beyond + std::to_string(second.size()) + " bytes"},
        {with(second, pe::kImportDirectory, 0xFFFFFFF0, 4), "its import table is damaged"},
        {with(second, pe::kExportDirectory, 0xFFFFFFF0, 4), "its export table is damaged"},
        {with(second, pe::kExportCount, 0xFFFFFFFF, 4), "its export table is damaged"},
        {support::peImage(repeated), "its import table is damaged"}};
    for (const Case& each : cases) {
        const LibraryFile file = readBytes(each.image);
        EXPECT_EQ(file.problem, Problem::damaged);
        EXPECT_EQ(file.errorText.substr(0, each.text.size()), each.text);
    }
}

// Each entry is read as a library and as a version, so that the lists share their bytes; all names are empty.
TEST(LibraryFile, ReadsOverlappingListsOfVersionsInLinearTime) {
    support::LibraryImage facts{{}, {"fifteenLetters_"}};  // the text at 16 is empty
    for (int i = 0; i < 100'000; ++i)
        facts.neededVersions += support::number(0, 8) + support::number(16, 4) + support::number(16, 4);
    const auto content = qvp::FileContent::ofBytes(support::elfImage(facts));
    EXPECT_EQ(qvp::ElfReader(content).versions().size(), 1U);
}

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
    EXPECT_TRUE(runPath.starts_with("$ORIGIN")) << runPath;
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
    EXPECT_EQ(qvp::readLibraryFile(folder.path(), qvp::Exports::skip).errorText,
              "it is a directory, not a file");
    const LibraryFile missing = qvp::readLibraryFile(folder.path() + "none", qvp::Exports::skip);
    EXPECT_EQ(missing.problem, Problem::missing);
    EXPECT_EQ(missing.errorNumber, 2);
    EXPECT_FALSE(missing.errorText.empty());
}

// For any damage there is a result, and each problem has a text.
TEST(LibraryFile, SurvivesDamagedFiles) {
    const std::string whole = support::readFile(support::specimen("good"));
    const auto check = [&](const std::string& content) {
        const LibraryFile file = readBytes(content);
        EXPECT_EQ(file.problem == Problem::none, file.errorText.empty());
        return file.problem;
    };
    // The loader does not need the end of a file, which holds debug information, for example.
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
