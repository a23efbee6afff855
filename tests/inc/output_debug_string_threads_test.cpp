#include <gtest/gtest.h>

#include <array>
#include <string>
#include <thread>
#include <vector>

#include "inc/OutputDebugString.h"
#include "tests/support/test_variable.h"

namespace
{

TEST(DebugOutput, TheListenerHearsEveryTextAndTheFormerOneNoMore)
{
    std::string first;
    std::string second;
    SetDebugListener([&](std::string_view text) { first += text; });
    OutputDebugStringA("one");
    const CDebugListener former = SetDebugListener([&](std::string_view text) { second += text; });
    OutputDebugStringA("two");
    former("three");
    SetDebugListener(nullptr);
    OutputDebugStringA("four");
    EXPECT_EQ(first, "onethree") << "the former listener is handed back and called by nobody else";
    EXPECT_EQ(second, "two");
}

struct Case {
    const char* variable;
    const char* expected;
};

class DebugOutputToStandardError : public testing::TestWithParam<Case>
{
};

TEST_P(DebugOutputToStandardError, GoesByTheVariable)
{
    const CTestVariable variable("WATCHWALL_DEBUG", GetParam().variable);
    testing::internal::CaptureStderr();
    OutputDebugStringA(std::string_view("recv return -1\n"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Variable, DebugOutputToStandardError,
                         testing::Values(Case{nullptr, ""}, Case{"", ""}, Case{"1", "recv return -1\n"}));

TEST(DebugOutput, ControlBytesReachNoTerminal)
{
    const CTestVariable variable("WATCHWALL_DEBUG", "1");
    testing::internal::CaptureStderr();
    OutputDebugStringA("name \x1B[2J\rx\ty\n");
    OutputDebugStringA("a line of the log\r\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "name \\x1B[2J\\x0Dx\ty\na line of the log\n");
}

TEST(DebugOutput, TextsOfTwoThreadsAreNotMixed)
{
    constexpr int TEXTS = 500;
    std::vector<std::string> heard;  // no lock: the listener is called one text at a time
    SetDebugListener([&](std::string_view text) { heard.emplace_back(text); });
    const auto write = [](char letter) {
        const std::string text(64, letter);
        for (int i = 0; i < TEXTS; ++i)
            OutputDebugStringA(text);
    };
    std::thread other(write, 'a');
    write('b');
    other.join();
    SetDebugListener(nullptr);
    std::array<int, 2> count{};
    for (const std::string& text : heard) {
        if (text == std::string(64, 'a')) ++count[0];
        if (text == std::string(64, 'b')) ++count[1];
    }
    EXPECT_EQ(count, (std::array<int, 2>{TEXTS, TEXTS}));
}

}  // namespace
