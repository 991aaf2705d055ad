#include <QvPlatform/core/QvUuid.h>

#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

using QvSim::QvUuid;

constexpr const char* kText = "e27a6542-b17c-4a04-83a6-882eeaca5a9b";

TEST(QvUuid, isRandomAndFixedWhenItIsFirstLookedAt) {
    std::set<std::string> texts;
    for (int i = 0; i < 10000; ++i) {
        const QvUuid uuid;
        const QvUuid copy = uuid;
        EXPECT_EQ(copy, uuid);
        EXPECT_EQ(uuid.toString()[14], '4');
        EXPECT_NE(std::string("89ab").find(uuid.toString()[19]), std::string::npos);
        texts.insert(QvUuid(uuid).toString());
    }
    EXPECT_EQ(texts.size(), 10000U);
    QvUuid assigned(kText);
    const QvUuid untouched;
    assigned = untouched;
    EXPECT_EQ(assigned, untouched);
    EXPECT_FALSE(QvUuid().isNull());
}

#ifndef _WIN32
TEST(QvUuid, isAnotherOneInAForkedProcess) {
    int pipes[2] = {};
    ASSERT_EQ(pipe(pipes), 0);
    const std::string before = QvUuid().toString();
    const pid_t copy = fork();
    const std::string after = QvUuid().toString();
    if (copy == 0) _exit(write(pipes[1], after.data(), after.size()) == 36 ? 0 : 1);
    std::string inCopy(36, '\0');
    close(pipes[1]);
    EXPECT_EQ(read(pipes[0], inCopy.data(), inCopy.size()), 36);
    close(pipes[0]);
    waitpid(copy, nullptr, 0);
    EXPECT_EQ(std::set<std::string>({before, after, inCopy}).size(), 3U);
}
#endif

TEST(QvUuid, readsText) {
    const support::LogCapture log;
    const std::vector<std::string> valid = {kText, "{E27A6542-B17C-4A04-83A6-882EEACA5A9B}",
                                            "e27a6542b17c4a0483a6882eeaca5a9b",
                                            "{e27a6542b17c4a0483a6882eeaca5a9b}"};
    for (const std::string& text : valid) EXPECT_EQ(QvUuid(text).toString(), kText) << text;
    EXPECT_TRUE(QvUuid("00000000-0000-0000-0000-000000000000").isNull());
    EXPECT_TRUE(log.takeTexts().empty());
    const std::string canonical = kText;
    const std::vector<std::string> invalid = {"",
                                              "not a uuid",
                                              "{" + canonical,
                                              canonical + "}",
                                              canonical + " ",
                                              " " + canonical,
                                              "(" + canonical + ")",
                                              canonical + "0",
                                              canonical.substr(0, 35),
                                              "e27a6542-b17c4a0483a6882eeaca5a9b",
                                              std::string("g") + (kText + 1)};
    for (const std::string& text : invalid) {
        EXPECT_EQ(QvUuid(text), QvUuid::NullUuid()) << text;
        const auto messages = log.take();
        ASSERT_EQ(messages.size(), 1U);
        EXPECT_EQ(messages[0].level, Qv::kLogLevelDebug);
        EXPECT_EQ(messages[0].text,
                  "QvUuid: '" + text + "' is not a valid UUID. Use QvUuid::createFromName()\n");
    }
}

TEST(QvUuid, comesFromNames) {
    EXPECT_EQ(QvUuid::createFromName(kText), QvUuid(kText));
    EXPECT_EQ(QvUuid::createFromName("wheel"), QvUuid::createFromName("wheel"));
    EXPECT_NE(QvUuid::createFromName("wheel"), QvUuid::createFromName("Wheel"));
    EXPECT_EQ(QvUuid::createFromName("").toString()[14], '5');
    EXPECT_EQ(QvUuid::createFromName("a").toString(), "b077d546-2461-5ef7-b7a2-a0fefbe505b9");
    EXPECT_NE(QvUuid::createFromName(std::string("a\0b", 3)), QvUuid::createFromName("a"));
}

TEST(QvUuid, ordersByUnsignedBytes) {
    const char low[16] = {1};
    const char high[16] = {static_cast<char>(0x80)};
    EXPECT_LT(QvUuid(low), QvUuid(high));
    EXPECT_GT(QvUuid(high), QvUuid(low));
    EXPECT_FALSE(QvUuid(low) < QvUuid(low));
    EXPECT_EQ(std::string(QvUuid(high).getBytes(), 16), std::string(high, 16));
    EXPECT_EQ(QvUuid(low).toString(), "01000000-0000-0000-0000-000000000000");
}

}  // namespace
