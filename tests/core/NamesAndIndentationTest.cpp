#include <QvPlatform/core/IOUtils.h>
#include <QvPlatform/core/UniqueNamesCollection.h>

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <sstream>
#include <string>

namespace {

using QvSim::StringUtils::UniqueNamesCollection;

TEST(UniqueNamesCollection, handsOutTheSmallestFreeNumber) {
    UniqueNamesCollection names;
    EXPECT_EQ(names.acquire("a2"), "a2");
    EXPECT_EQ(names.acquire("a"), "a");
    EXPECT_EQ(names.acquire("a"), "a1");
    EXPECT_EQ(names.acquire("a"), "a3") << "a name asked for as such counts too";
    EXPECT_EQ(names.acquire("a1"), "a11");
    EXPECT_TRUE(names.release("a2"));
    EXPECT_FALSE(names.release("a2"));
    EXPECT_EQ(names.acquire("a"), "a2");
    EXPECT_EQ(names.acquire("a01"), "a01") << "not a number that is ever handed out";
    EXPECT_EQ(names.acquire(""), "");
    EXPECT_EQ(names.acquire(""), "1");

    const UniqueNamesCollection copy = names;
    names.clear();
    EXPECT_EQ(names.acquire("a"), "a");
    EXPECT_EQ(names.size(), 1U);
    EXPECT_EQ(copy.size(), 8U);
}

// A reference implementation that tries one number after another.
std::string acquireByTrying(std::set<std::string>& taken, const std::string& name) {
    std::string candidate = name;
    for (int number = 1; !taken.insert(candidate).second; ++number) candidate = name + std::to_string(number);
    return candidate;
}

TEST(UniqueNamesCollection, agreesWithItsDefinition) {
    std::mt19937 random(1);
    UniqueNamesCollection names;
    std::set<std::string> taken;
    const char* const beginnings[] = {"", "b", "1", "b1", "b19", "b0", "99999999999999999999"};
    for (int i = 0; i < 3000; ++i) {
        if (random() % 3 != 0) {
            const std::string name = beginnings[random() % std::size(beginnings)];
            ASSERT_EQ(names.acquire(name), acquireByTrying(taken, name));
        } else if (!taken.empty()) {
            const auto victim = std::next(taken.begin(), static_cast<long>(random() % taken.size()));
            ASSERT_TRUE(names.release(*victim));
            taken.erase(victim);
        }
        ASSERT_EQ(names.size(), taken.size());
    }
}

TEST(IOUtils, keepsAnIndentationWithEachStream) {
    using namespace QvPlatform::IOUtils;
    std::ostringstream out;
    std::ostringstream other;
    out << increaseIndent << indent << "a\n" << increaseIndent << indent << "b\n";
    other << indent << "c\n";
    out << decreaseIndent << decreaseIndent << decreaseIndent << indent << "d\n" << increaseIndent << indent;
    EXPECT_EQ(out.str(), "  a\n    b\nd\n  ");
    EXPECT_EQ(other.str(), "c\n");
}

}  // namespace
