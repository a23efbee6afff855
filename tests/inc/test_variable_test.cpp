#include "tests/support/test_variable.h"

#include <gtest/gtest.h>

namespace
{

std::vector<char*> Listed(char* const* variables)
{
    std::vector<char*> listed;
    while (*variables != nullptr)
        listed.push_back(*variables++);
    return listed;
}

TEST(TestVariableTest, IsThereForItsScopeAndThenAsItWas)
{
    constexpr const char* NAME = "WATCHWALL_TEST_VARIABLE";
    {
        const CTestVariable outer(NAME, "outer");
        EXPECT_STREQ(std::getenv(NAME), "outer");
        {
            const CTestVariable inner(NAME, "inner");
            EXPECT_STREQ(std::getenv(NAME), "inner");
            const CTestVariable none(NAME, nullptr);
            EXPECT_EQ(std::getenv(NAME), nullptr);
        }
        EXPECT_STREQ(std::getenv(NAME), "outer");
    }
    EXPECT_EQ(std::getenv(NAME), nullptr);
}

TEST(TestVariableTest, LeavesTheListThatAThreadMayBeReading)
{
    const CTestVariable first("WATCHWALL_TEST_FIRST", "1");
    char* const* const read = environ;
    const std::vector<char*> before = Listed(read);
    const CTestVariable second("WATCHWALL_TEST_SECOND", "2");
    EXPECT_EQ(Listed(read), before);
    EXPECT_EQ(Listed(environ).size(), before.size() + 1);
}

}  // namespace
