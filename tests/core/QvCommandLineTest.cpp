#include <QvPlatform/core/QvCommandLine.h>
#include <QvPlatform/core/QvUuid.h>

#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Texts = std::vector<std::string>;

Qv::QvCommandLine lineOf(const Texts& arguments) {
    std::vector<const char*> pointers;
    for (const std::string& argument : arguments) pointers.push_back(argument.c_str());
    return {static_cast<int>(pointers.size()), pointers.data()};
}

// The result of each query for "-n" and these arguments, the remaining arguments and the messages.
struct Question {
    Texts arguments;
    bool eat;
    double result;
    Texts left;
    bool complains;
};

template <typename Ask>
void expectAnswers(const std::vector<Question>& questions, const std::string& complaint, Ask ask) {
    for (const Question& question : questions) {
        const support::LogCapture log;
        auto line = lineOf(question.arguments);
        const std::string shown = testing::PrintToString(question.arguments);
        EXPECT_EQ(ask(line, question.eat), question.result) << shown;
        EXPECT_EQ(line.arguments(), question.left) << shown;
        EXPECT_EQ(log.takeTexts(), question.complains ? Texts{complaint} : Texts{}) << shown;
    }
}

TEST(QvCommandLine, readsIntegers) {
    const std::vector<Question> questions = {
        {{"p"}, true, 0, {"p"}, false},
        {{"p", "-n", "5"}, true, 5, {"p"}, false},
        {{"p", "-n", "5"}, false, 5, {"p", "-n", "5"}, false},
        {{"p", "a", "-n", "-7", "b"}, true, -7, {"p", "a", "b"}, false},
        {{"p", "-n", " +5abc"}, true, 5, {"p"}, false},
        {{"p", "-n", "0"}, true, 0, {"p"}, false},
        {{"p", "-n", "x"}, true, 0, {"p", "x"}, true},
        {{"p", "-n", "x"}, false, 0, {"p", "-n", "x"}, true},
        {{"p", "-n", "00"}, true, 0, {"p", "00"}, true},
        {{"p", "-n", "-0"}, true, 0, {"p", "-0"}, true},
        {{"p", "-n", ""}, true, 0, {"p", ""}, true},
        {{"p", "-n", "+-5"}, true, 0, {"p", "+-5"}, true},
        {{"p", "-n", "2147483648"}, true, 0, {"p", "2147483648"}, true},
        {{"p", "-n"}, false, 0, {"p"}, true},
        {{"p", "-n"}, true, 0, {"p"}, true},
        {{"-n", "5"}, true, 5, {}, false},
    };
    expectAnswers(questions, "Numerical parameter that should follow -n is missing! Defaulting to 0.\n",
                  [](auto& line, bool eat) { return line.getInt("-n", eat); });
}

constexpr const char* kRealComplaint =
    "Floating point parameter that should follow -n is missing! Defaulting to 0.\n";

TEST(QvCommandLine, readsReals) {
    const std::vector<Question> questions = {
        {{"p", "-n", "-2.5e1x"}, true, -25.0, {"p"}, false},
        {{"p", "-n", ".5"}, true, 0.5, {"p"}, false},
        {{"p", "-n", "1,5"}, true, 1.0, {"p"}, false},
        {{"p", "-n", "0"}, true, 0.0, {"p"}, false},
        {{"p", "-n", "0.0"}, true, 0.0, {"p", "0.0"}, true},
        {{"p", "-n", "0x10"}, true, 0.0, {"p", "0x10"}, true},
        {{"p", "-n", "1e999"}, true, 0.0, {"p", "1e999"}, true},
        {{"p", "-n"}, false, 0.0, {"p"}, true},
    };
    expectAnswers(questions, kRealComplaint, [](auto& line, bool eat) { return line.getQvReal("-n", eat); });
}

TEST(QvCommandLine, readsArraysOfReals) {
    double values[3] = {};
    const auto ask = [&](auto& line, bool eat) { return line.getQvRealArray("-n", values, 2, eat); };
    expectAnswers({{{"p", "-n", "1", "2", "3"}, true, 2, {"p", "3"}, false},
                   {{"p", "-n", "1"}, false, 0, {"p", "1"}, true},
                   {{"p", "-n", "x", "4"}, true, 0, {"p", "x", "4"}, true},
                   {{"p", "-n", "x", "4"}, false, 0, {"p", "-n", "x", "4"}, true}},
                  kRealComplaint, ask);
    EXPECT_EQ(values[0], 0.0);
    EXPECT_EQ(values[1], 4.0) << "the numbers after a bad one are read too";
    EXPECT_EQ(values[2], 0.0);

    auto line = lineOf({"p", "-n", "1"});
    EXPECT_EQ(line.getQvRealArray("-n", nullptr, 0, false), 0);
    EXPECT_EQ(line.getQvRealArray("-n", nullptr, -1, true), 0);
    EXPECT_EQ(line.arguments(), (Texts{"p", "1"}));
}

TEST(QvCommandLine, readsStringsThatAreNoOptions) {
    const std::string missing =
        "String parameter that should follow -o is missing! Returning null pointer.\n";
    const std::string refused = "String parameters aren't allowed to start with `-'.\n";
    const struct {
        Texts arguments;
        bool eat;
        std::string result;
        Texts left;
        Texts complaints;
    } cases[] = {
        {{"p", "-o", "out"}, true, "out", {"p"}, {}},
        {{"p", "-o", "out"}, false, "out", {"p", "-o", "out"}, {}},
        {{"p", "-o", ""}, true, "", {"p"}, {}},
        {{"p", "-o", "-f"}, false, "", {"p", "-o", "-f"}, {missing, refused}},
        {{"p", "-o", "-"}, true, "", {"p", "-"}, {missing, refused}},
        {{"p", "-o"}, false, "", {"p"}, {missing}},
    };
    for (const auto& c : cases) {
        const support::LogCapture log;
        auto line = lineOf(c.arguments);
        EXPECT_EQ(line.getString("-o", c.eat), c.result);
        EXPECT_EQ(line.arguments(), c.left);
        EXPECT_EQ(log.takeTexts(), c.complaints);
    }
}

TEST(QvCommandLine, looksForOptions) {
    const support::LogCapture log;
    auto line = lineOf({"p", "-a", "-b", "-a", "-A"});
    EXPECT_EQ(line.getPos("p"), 0);
    EXPECT_EQ(line.getPos("-A"), 4);
    EXPECT_EQ(line.getPos("-x"), -1);
    EXPECT_TRUE(line.checkFor("-a", true));
    EXPECT_TRUE(line.checkFor("-a", false));
    const char* const options[] = {"-x", "-a", "-A", nullptr};
    EXPECT_TRUE(line.checkForList(options, true));
    EXPECT_EQ(line.arguments(), (Texts{"p", "-b"}));
    EXPECT_FALSE(line.checkForList(options, true));
    EXPECT_FALSE(line.checkForList(options + 3, true));
    EXPECT_TRUE(log.takeTexts().empty());

    EXPECT_FALSE(line.checkFor(nullptr, true));
    EXPECT_FALSE(line.checkForList(nullptr, true));
    const auto messages = log.take();
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(messages[0].level, Qv::kLogLevelError);
    EXPECT_EQ(messages[0].text, "QvCommandLine::checkFor: You must pass in a valid char*\n");
    EXPECT_EQ(messages[1].text, "QvCommandLine::checkForList: You must pass in a valid char*[]\n");
}

TEST(QvCommandLine, eatsEachValidPositionOnce) {
    auto line = lineOf({"p", "a", "b", "c"});
    const int positions[] = {3, 1, -1, 9, 1};
    line.eatArg(positions, 5);
    EXPECT_EQ(line.arguments(), (Texts{"p", "b"}));
    line.eatArg(positions + 1, -2);
    EXPECT_EQ(line.arguments(), (Texts{"p", "b"}));
}

TEST(QvCommandLine, looksForItsOwnArguments) {
    const support::LogCapture log;
    const std::string option(100, '-');
    const std::string complaint = "parameter that should follow " + option + " is missing!";
    auto line = lineOf({"p", option, option, "-a", "-b", "-c"});
    const auto own = [&] { return line.arguments()[1].c_str(); };
    EXPECT_EQ(line.getInt(own(), true), 0);
    EXPECT_EQ(line.getString(own(), true), "");
    const auto messages = log.takeTexts();
    ASSERT_EQ(messages.size(), 3U);
    EXPECT_NE(messages[0].find(complaint), std::string::npos) << messages[0];
    EXPECT_NE(messages[1].find(complaint), std::string::npos) << messages[1];
    const char* const options[] = {line.arguments()[1].c_str(), line.arguments()[2].c_str(), nullptr};
    EXPECT_TRUE(line.checkForList(options, true));
    EXPECT_EQ(line.arguments(), (Texts{"p", "-c"}));
}

// The same for `QvUuid`, which reports bad text in the same way.
TEST(QvCommandLine, reportsBadValuesWithoutThrowing) {
    const support::LogCapture log;
    Qv::LogSetHandler(
        [](Qv::eLogLevel, const char* const, Qv::LogArgs) { throw std::runtime_error("handler"); });
    auto line = lineOf({"p", "-n", "x", "-o", "-f"});
    EXPECT_EQ(line.getInt("-n", true), 0);
    EXPECT_EQ(line.getQvReal("x", false), 0.0);
    EXPECT_EQ(line.getString("-o", true), "");
    EXPECT_EQ(line.arguments(), (Texts{"p", "x", "-f"}));
    EXPECT_TRUE(QvSim::QvUuid("no UUID").isNull());
}

TEST(QvCommandLine, copiesEveryKindOfArgument) {
    char name[] = "p";
    wchar_t wideName[] = L"\u540D";
    char* narrow[] = {name, nullptr};
    wchar_t* wide[] = {wideName};
    EXPECT_EQ(Qv::QvCommandLine(2, narrow).arguments(), (Texts{"p", ""}));
    EXPECT_EQ(Qv::QvCommandLine(1, wide).arguments(), Texts{"\xE5\x90\x8D"});
    EXPECT_TRUE(Qv::QvCommandLine(-3, narrow).arguments().empty());
    EXPECT_TRUE(Qv::QvCommandLine(3, static_cast<char**>(nullptr)).arguments().empty());
}

TEST(QvCommandLine, printsItsHelp) {
    auto line = lineOf({"p"});
    line.addOption("-n N", "number of steps");
    line.addOption("-o FILE", nullptr);
    std::ostringstream out;
    auto* const previous = std::cout.rdbuf(out.rdbuf());
    line.printHelp();
    std::cout.rdbuf(previous);
    EXPECT_EQ(out.str(), "usage: [options]\n-n N: number of steps\n\n-o FILE: \n\n");
}

}  // namespace
