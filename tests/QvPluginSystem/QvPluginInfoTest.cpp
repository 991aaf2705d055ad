#include <QvPlatform/QvPluginSystem/QvPluginInfo.h>

#include <gtest/gtest.h>

namespace {

using Qv::QvVersion;
using QvPluginSystem::QvDependency;
using QvPluginSystem::QvPluginInfo;

QvDependency dependency(const std::string& name, const std::string& version) {
    return {name, QvVersion(version)};
}

TEST(QvPluginInfoTest, defaultsAndClear) {
    QvPluginInfo info("some/path");
    info.name = "n";
    info.version = QvVersion("1");
    info.dependentCount = 2;
    info.explicitlyLoaded = true;
    info.addDependency(QvDependency());
    EXPECT_EQ(info.getUseCount(), 3);
    const QvPluginInfo copy = info;
    EXPECT_EQ(copy.getUseCount(), 3);
    EXPECT_EQ(copy.getPath(), "some/path");

    info.clear();
    EXPECT_EQ(info.getPath(), "");
    EXPECT_EQ(info.getVersion().toString(), "2020.3.0.68");
    EXPECT_EQ(info.getVersion().label, "2020a");
    EXPECT_EQ(info.getCompatibilityVersion().toString(), "0.0.0.0");
    EXPECT_EQ(info.getCompatibilityVersion().label, "");
    EXPECT_EQ(info.getDependencies().size(), 0U);
    EXPECT_EQ(info.getUseCount(), 0);
}

TEST(QvPluginInfoTest, theNameStandsInForTheDisplayName) {
    QvPluginInfo info;
    info.name = "name";
    EXPECT_EQ(info.getDisplayName(), "name");
    info.setDisplayName("shown");
    EXPECT_EQ(info.getDisplayName(), "shown");
    info.setDisplayName("");
    EXPECT_EQ(info.getDisplayName(), "name");
    info.setDescription("d");
    info.setDescription(info.getDescription());
    info.setVersion(QvVersion(1, 2, 3, 4, "x"));
    info.setVersion(info.getVersion());
    EXPECT_EQ(info.getDescription(), "d");
    EXPECT_EQ(info.getVersion().toString() + info.getVersion().label, "1.2.3.4x");
}

TEST(QvPluginInfoTest, dependencyEqualityAndRemoval) {
    EXPECT_TRUE(dependency("a", "1.2.3.4") == dependency("a", "1.2.3.9"));
    EXPECT_TRUE(dependency("a", "1.2.3") != dependency("A", "1.2.3"));
    EXPECT_TRUE(dependency("a", "1.2.3") != dependency("a", "1.2.4"));
    EXPECT_EQ(QvDependency().version.toString(), "2020.3.0.68");

    QvPluginInfo info;
    for (const char* name : {"a", "b", "c"}) info.addDependency(dependency(name, "1.2.3.4"));
    info.removeDependency(dependency("b", "1.2.4"));
    EXPECT_EQ(info.getDependencies().size(), 3U);
    info.removeDependency(info.getDependencies()[1]);
    ASSERT_EQ(info.getDependencies().size(), 2U);
    EXPECT_EQ(info.getDependencies()[1].name, "c");

    info.addDependency(dependency("a", "1.2.3"));
    info.removeDependency(dependency("a", "1.2.3"));
    ASSERT_EQ(info.getDependencies().size(), 2U);  // one less, although two were equal
    EXPECT_EQ(info.getDependencies()[0].name, "c");
}

}  // namespace
