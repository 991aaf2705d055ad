#ifdef _WIN32
#include <windows.h>
#endif
#include <QvPlatform/QvPluginSystem/LoadSharedLibrary.h>

#include "PluginFixture.h"

#include <cerrno>
#include <cstring>
#include <memory>

namespace {

using QvPluginSystem::getLastError;
using QvPluginSystem::getSymbolAddress;
using QvPluginSystem::LoadSharedLibrary;
using support::Texts;

TEST(LoadSharedLibraryTest, opensAndFindsWhatTheLibraryItselfDefines) {
    const support::LogCapture capture;
    const LoadSharedLibrary library(support::builtLibrary("borrowing.qvp"));
    ASSERT_TRUE(library.handle);
    EXPECT_TRUE(getSymbolAddress(library.handle, "GetPluginBuildInfo"));
    EXPECT_FALSE(getSymbolAddress(library.handle, "UninitializePlugin"));
    EXPECT_FALSE(getSymbolAddress(library.handle, "nowhere"));
    EXPECT_FALSE(getSymbolAddress(nullptr, "GetPluginInfo"));
    EXPECT_FALSE(getSymbolAddress(library.handle, nullptr));
    LoadSharedLibrary second = library;
    EXPECT_EQ(second.handle, library.handle);
    second.handle = nullptr;
    EXPECT_EQ(support::LogCapture::take().size(), 0U);
}

TEST(LoadSharedLibraryTest, failuresAreWarnings) {
    const support::LogCapture capture;
    const support::TemporaryFolder folder;
    EXPECT_FALSE(LoadSharedLibrary(folder.path() + "missing").handle);
    EXPECT_FALSE(LoadSharedLibrary(folder.path()).handle);
    EXPECT_FALSE(LoadSharedLibrary("").handle);
    EXPECT_EQ(support::LogCapture::takeTexts(),
              (Texts{"QvPluginManager : File could not be found: (" + folder.path() + "missing)\n",
                     "QvPluginManager : File could not be found: (" + folder.path() + ")\n",
                     "QvPluginManager : File could not be found: ()\n"}));
    const std::string junk = folder.addFile("junk");
    EXPECT_FALSE(LoadSharedLibrary(junk).handle);
    const std::string reason = getLastError();
    EXPECT_GT(reason.size(), 5U);
    EXPECT_LT(reason.size(), 256U);
    EXPECT_EQ(support::LogCapture::takeTexts(),
              (Texts{"QvPluginManager : " + reason + ": (" + junk + ")\n"}));
}

TEST(LoadSharedLibraryTest, aBareNameIsFoundInTheCurrentDirectory) {
    const support::LogCapture capture;
    const support::TemporaryFolder folder;
    std::filesystem::copy_file(support::pathOf(support::builtLibrary("noInfo.qvp")),
                               support::pathOf(folder.path() + "bare"));
    const support::CurrentDirectoryChange change(folder.path());
    EXPECT_TRUE(LoadSharedLibrary("bare").handle);
}

TEST(LoadSharedLibraryTest, aRelativePathFollowsTheCurrentDirectory) {
    const support::TemporaryFolder folders[2];
    std::vector<std::unique_ptr<LoadSharedLibrary>> libraries;
    for (const support::TemporaryFolder& folder : folders) {
        folder.addDirectory("p");
        std::filesystem::copy_file(support::pathOf(support::builtLibrary("noInfo.qvp")),
                                   support::pathOf(folder.path() + "p/same.qvp"));
        const support::CurrentDirectoryChange change(folder.path());
        libraries.push_back(std::make_unique<LoadSharedLibrary>("p\\same.qvp"));
        ASSERT_TRUE(libraries.back()->handle);
    }
    EXPECT_NE(libraries[0]->handle, libraries[1]->handle);
}

TEST(LoadSharedLibraryTest, writingTheWarningKeepsTheLastError) {
    const support::LogCapture capture;
    const support::TemporaryFolder folder;
    const LoadSharedLibrary expected(folder.addFile("junk"));
    const std::string reason = getLastError();
    Qv::LogSetHandler(
        [](Qv::eLogLevel, const char*, Qv::LogArgs) { const std::ifstream none("no such folder/file"); });
    const LoadSharedLibrary library(folder.path() + "junk");
    EXPECT_EQ(getLastError(), reason);
}

#ifdef __ELF__
TEST(LoadSharedLibraryTest, theLastErrorIsTheLatestOfLoaderAndSystem) {
    const support::LogCapture capture;
    const support::TemporaryFolder folder;
    const LoadSharedLibrary junk(folder.addFile("junk"));
    EXPECT_NE(std::string(getLastError()).find("junk"), std::string::npos);
    errno = ENOENT;
    EXPECT_EQ(std::string(getLastError()), std::strerror(ENOENT));
}
#else
// Its text is in the user's language.
TEST(LoadSharedLibraryTest, aSystemErrorHasItsNumber) {
    const support::LogCapture capture;
    const support::TemporaryFolder folder;
    const LoadSharedLibrary junk(folder.addFile("junk"));
    EXPECT_EQ(std::string(getLastError()).rfind("error 193: ", 0), 0U) << getLastError();
    SetLastError(0x2fffffff);
    EXPECT_EQ(std::string(getLastError()), "error 805306367");
}
#endif

}  // namespace
