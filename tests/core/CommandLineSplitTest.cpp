#include "base/CommandLineSplit.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Texts = std::vector<std::string>;

TEST(CommandLineSplit, followsTheRuntimesRules) {
    const struct {
        const char* line;
        Texts arguments;
    } cases[] = {
        {"", {""}},
        {" a", {"", "a"}},
        {"p", {"p"}},
        {"p \t a  b ", {"p", "a", "b"}},
        {R"("my tool" x)", {"my tool", "x"}},
        {R"(C:\dir\t.exe \x\)", {R"(C:\dir\t.exe)", R"(\x\)"}},
        {R"("C:\dir\" x)", {R"(C:\dir\)", "x"}},
        {R"(p a\"b "c d" 'e f' *)", {"p", "a\"b", "c d", "'e", "f'", "*"}},
        {R"(p "" "a""b" c"d e"f)", {"p", "", "a\"b", "cd ef"}},
        {R"(p a\\b a\\"b c" a\\\"b)", {"p", R"(a\\b)", R"(a\b c)", R"(a\"b)"}},
        {R"(p "a\\" "b\")", {"p", R"(a\)", "b\""}},
        {R"(p "open to the end)", {"p", "open to the end"}},
    };
    for (const auto& c : cases) EXPECT_EQ(base::splitCommandLine(c.line), c.arguments) << c.line;
}

}  // namespace
