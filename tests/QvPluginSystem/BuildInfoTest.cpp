#include "QvPluginSystem/rules/BuildInfo.h"

#include <QvPlatform/QvPluginSystem/QvPlugin.h>
#include <QvPlatform/QvPluginSystem/QvPluginFuncInterface.h>

#include "support/LogCapture.h"

#include <gtest/gtest.h>

namespace {

using QvPluginSystem::QvPluginFuncInterface;
using QvPluginSystem::rules::BuildInfo;
using QvPluginSystem::rules::parseBuildInfo;

TEST(BuildInfoTest, readsTheSevenKeys) {
    const BuildInfo info = parseBuildInfo(
        "Plateform:64\nCompilerName: \t MSVC\nCompilerVersion:1910abc\nRelease:1\nQvVersionMajor:2020\n"
        "QvVersionMinor:-3\nUnknown:7\nQvVersionServicePack:5");
    EXPECT_EQ(info.platform, 64);
    EXPECT_EQ(info.compilerName, "MSVC");
    EXPECT_EQ(info.compilerVersion, 1910);
    EXPECT_EQ(info.release, 1);
    EXPECT_EQ(info.productMajor, 2020);
    EXPECT_EQ(info.productMinor, -3);
    EXPECT_EQ(info.productServicePack, 5);
}

TEST(BuildInfoTest, oddTexts) {
    EXPECT_EQ(parseBuildInfo("CompilerName :MSVC\n").compilerName, "");
    EXPECT_EQ(parseBuildInfo("CompilerName:MSVC\r\n").compilerName, "MSVC\r");
    EXPECT_EQ(parseBuildInfo("compilername:MSVC\n").compilerName, "");
    EXPECT_EQ(parseBuildInfo("Release:1\nRelease:2\n").release, 2);
    EXPECT_EQ(parseBuildInfo("no colon at all\n").compilerName, "");
    // The white space after a colon includes line ends: an empty value reads the next line as its value.
    EXPECT_EQ(parseBuildInfo("Plateform:\nCompilerName:MSVC\nRelease:3\n").compilerName, "");
    EXPECT_EQ(parseBuildInfo("Plateform:\nCompilerName:MSVC\nRelease:3\n").release, 3);
    EXPECT_EQ(parseBuildInfo("Release:4294967297\n").release, 1);
}

TEST(BuildInfoTest, theMacroTellsHowThisTestIsBuilt) {
    const BuildInfo info = parseBuildInfo(QV_PLUGIN_BUILD_INFO);
    EXPECT_EQ(info.platform, static_cast<int>(sizeof(void*)) * 8);
    EXPECT_FALSE(info.compilerName.empty());
    EXPECT_GT(info.compilerVersion, 0);
    EXPECT_EQ(info.productMajor, 2020);
    EXPECT_EQ(info.productMinor, 3);
    EXPECT_EQ(info.productServicePack, 0);
    EXPECT_NE(std::string(QV_PLUGIN_BUILD_INFO).find("\nRelease:"), std::string::npos);
}

bool describe(QvPluginSystem::QvPluginInfo& info) {
    info.name = "described";
    return false;
}
bool initialize(QvPluginSystem::QvPluginManager&, int, char**, std::string*) { return true; }
bool uninitialize(QvPluginSystem::QvPluginManager&, std::string*) { return true; }

std::string buildText;  // a plain function cannot capture its text
const char* build() { return buildText.c_str(); }

bool isValid(const std::string& text, std::string& error) {
    buildText = text;
    return QvPluginFuncInterface(nullptr, describe, initialize, uninitialize, build).isValid(&error);
}

TEST(QvPluginFuncInterfaceTest, theSlotsKeepTheirOrderAndMayBeEmpty) {
    const QvPluginFuncInterface none;
    std::string error;
    QvPluginSystem::QvPluginInfo info;
    EXPECT_EQ(none.getPluginSystemVersion(), 0);
    EXPECT_FALSE(none.getPluginInfo(info));
    EXPECT_EQ(none.getBuildInfo(), "");
    EXPECT_FALSE(none.isValid(nullptr));
    EXPECT_FALSE(none.isValid(&error));
    EXPECT_EQ(error, "Symbol GetPluginInfo was not found in this plugin.");
    EXPECT_EQ(
        QvPluginFuncInterface([] { return 3; }, nullptr, nullptr, nullptr, nullptr).getPluginSystemVersion(),
        3);
}

TEST(QvPluginFuncInterfaceTest, onlyDebugBuildsOfTheComparedCompilerAreRejected) {
    const support::LogCapture capture;
    struct Row {
        const char* text;
        bool valid;
        std::size_t notes;
    };
    const Row table[] = {
        {"CompilerName:MSVC\nRelease:0\n", false, 0},
        {"CompilerName:MSVC\nRelease:2\n", false, 0},
        {"CompilerName:MSVC\nRelease:-1\n", false, 0},
        {"CompilerName:MSVC\nRelease:1\nCompilerVersion:1900\nQvVersionMajor:2020\nQvVersionMinor:3\n", true,
         0},
        {"CompilerName:MSVC\nRelease:1\nCompilerVersion:1910\nQvVersionMajor:2020\nQvVersionMinor:3\n", true,
         1},
        {"CompilerName:MSVC\nRelease:1\n", true, 2},
        {"CompilerName:MSVC\r\nRelease:0\n", true, 0},
        {"CompilerName :MSVC\nRelease:0\n", true, 0},
        {"CompilerName:GCC\n", true, 0},
    };
    for (const Row& row : table) {
        SCOPED_TRACE(row.text);
        std::string error = "untouched";
        EXPECT_EQ(isValid(row.text, error), row.valid);
        EXPECT_EQ(error,
                  row.valid
                      ? "untouched"
                      : "The plugin described was built in debug mode while Quorex was built in debug mode");
        EXPECT_EQ(support::LogCapture::take().size(), row.notes);
    }
}

}  // namespace
