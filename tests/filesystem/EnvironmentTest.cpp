#include <QvPlatform/filesystem/Environment.h>

#include "support/Platform.h"
#include "support/VariableChange.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

using QvPlatform::getEnv;
using QvPlatform::putEnv;
using support::kWindows;

class Environment : public testing::Test {
protected:
    const std::string name_ = "QV_TEST_VARIABLE";
    support::VariableChange removed_{name_, std::nullopt};
};

TEST_F(Environment, isReadAsTheRuntimeReadsIt) {
    EXPECT_EQ(getEnv(name_), "");
    for (const char* value : {"1", "another", " a=b;c:d % "}) {
        EXPECT_TRUE(putEnv(name_, value));
        EXPECT_EQ(getEnv(name_), value);
        EXPECT_STREQ(std::getenv(name_.c_str()), value);
    }
    EXPECT_TRUE(putEnv(name_,
                       "Gr\xC3\xB6\xC3\x9F"
                       "e \xE5\x90\x8D"));
    EXPECT_EQ(getEnv(name_),
              "Gr\xC3\xB6\xC3\x9F"
              "e \xE5\x90\x8D");
    EXPECT_EQ(getEnv("qv_Test_variable").empty(), !kWindows);
}

TEST_F(Environment, readsEmptyAndMissingValuesAlike) {
    ASSERT_TRUE(putEnv(name_, "x"));
    EXPECT_TRUE(putEnv(name_, ""));
    EXPECT_EQ(getEnv(name_), "");
    const char* const inRuntime = std::getenv(name_.c_str());
    EXPECT_EQ(inRuntime ? inRuntime : "removed", std::string(kWindows ? "removed" : ""));
    EXPECT_EQ(getEnv(""), "");
}

TEST_F(Environment, readsValuesOfUpTo4095Bytes) {
    for (const std::size_t length : {1U, 4095U, 4096U, 5000U}) {
        const std::string value(length, 'v');
        ASSERT_TRUE(putEnv(name_, value));
        EXPECT_EQ(getEnv(name_), length <= 4095 ? value : "") << length;
        EXPECT_EQ(std::getenv(name_.c_str()), value);
    }
    const std::string wide(2 * 2048, '\xC3');  // counted in bytes, not in characters
    std::string value = wide;
    for (std::size_t i = 1; i < value.size(); i += 2) value[i] = '\xA9';
    ASSERT_TRUE(putEnv(name_, value));
    EXPECT_EQ(getEnv(name_), "");
    ASSERT_TRUE(putEnv(name_, value.substr(2)));
    EXPECT_EQ(getEnv(name_), value.substr(2));
}

TEST_F(Environment, refusesNamesThatNoVariableCanHave) {
    ASSERT_TRUE(putEnv(name_, "kept"));
    for (const std::string& name :
         {std::string(), std::string("="), name_ + "=x", "=" + name_, std::string("\0A", 2)}) {
        EXPECT_FALSE(putEnv(name, "value")) << testing::PrintToString(name);
    }
    EXPECT_EQ(getEnv(name_), "kept");
    ASSERT_TRUE(putEnv(name_, "x=kept"));
    EXPECT_EQ(getEnv(name_ + "=x"), "");
}

TEST_F(Environment, endsTextsAtAZeroByte) {
    EXPECT_TRUE(putEnv(name_ + std::string("\0tail", 5), std::string("a\0b", 3)));
    EXPECT_EQ(getEnv(name_), "a");
    EXPECT_EQ(getEnv(name_ + std::string("\0tail", 5)), "a");
}

}  // namespace
