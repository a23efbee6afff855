// Another project adds this one and links the decoder library alone: tests/architecture/consumer.

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

namespace
{

const std::string BUILD = WATCHWALL_BINARY_DIR "/consumer";  // stays, so that a later run compiles what changed

struct Outcome {
    int m_iStatus = -1;
    std::string m_strOutput;
};

Outcome Execute(const std::string& command)
{
    Outcome outcome;
    std::FILE* const pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr) return outcome;
    std::array<char, 4096> block{};
    while (const std::size_t count = std::fread(block.data(), 1, block.size(), pipe))
        outcome.m_strOutput.append(block.data(), count);
    outcome.m_iStatus = pclose(pipe);
    return outcome;
}

std::string Quoted(const std::string& text)
{
    return "'" + text + "'";
}

// Without the packages that only the folders above the decoder core need.
TEST(ConsumerTest, LinksTheDecoderLibraryAloneWithoutThePackagesOfTheRest)
{
    const Outcome configured =
        Execute(Quoted(WATCHWALL_CMAKE) + " -G " + Quoted(WATCHWALL_GENERATOR) + " -S " +
                Quoted(WATCHWALL_SOURCE_DIR "/tests/architecture/consumer") + " -B " + Quoted(BUILD) +
                " -D WATCHWALL=" + Quoted(WATCHWALL_SOURCE_DIR) + " -D CMAKE_BUILD_TYPE=Debug" +
                " -D CMAKE_CXX_FLAGS=-O0 -D CMAKE_CXX_COMPILER=" + Quoted(WATCHWALL_COMPILER) +
                " -D CMAKE_CXX_COMPILER_LAUNCHER=" + Quoted(WATCHWALL_LAUNCHER) +
                " -D CMAKE_DISABLE_FIND_PACKAGE_Qt6=ON -D CMAKE_DISABLE_FIND_PACKAGE_SQLite3=ON"
                " -D CMAKE_DISABLE_FIND_PACKAGE_X11=ON -D CMAKE_DISABLE_FIND_PACKAGE_GTest=ON");
    ASSERT_EQ(configured.m_iStatus, 0) << configured.m_strOutput;
    const Outcome built =
        Execute(Quoted(WATCHWALL_CMAKE) + " --build " + Quoted(BUILD) + " --target consumer --parallel 2");
    ASSERT_EQ(built.m_iStatus, 0) << built.m_strOutput;
    const Outcome ran = Execute(Quoted(BUILD + "/consumer"));
    EXPECT_EQ(ran.m_iStatus, 0);
    EXPECT_EQ(ran.m_strOutput, "refused: 1 1\n");
}

}  // namespace
