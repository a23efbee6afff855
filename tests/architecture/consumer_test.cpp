// Another project adds this one and links the decoder library alone: tests/architecture/consumer.

#include <gtest/gtest.h>

#include <string>

#include "tests/support/process.h"
#include "tests/support/test_places.h"

namespace
{

const std::string BUILD = BuildPath("consumer");  // stays, so that a later run compiles what changed

// Without the packages that only the folders above the decoder core need.
TEST(ConsumerTest, LinksTheDecoderLibraryAloneWithoutThePackagesOfTheRest)
{
    const Outcome configured =
        Execute(Quoted(WATCHWALL_CMAKE) + " -G " + Quoted(WATCHWALL_GENERATOR) + " -S " +
                Quoted(SourcePath("tests/architecture/consumer")) + " -B " + Quoted(BUILD) +
                " -D WATCHWALL=" + Quoted(SourcePath()) + " -D CMAKE_BUILD_TYPE=Debug" +
                " -D CMAKE_CXX_FLAGS=-O0 -D CMAKE_CXX_COMPILER=" + Quoted(WATCHWALL_COMPILER) +
                " -D CMAKE_CXX_COMPILER_LAUNCHER=" + Quoted(WATCHWALL_LAUNCHER) +
                " -D CMAKE_DISABLE_FIND_PACKAGE_Qt6=ON -D CMAKE_DISABLE_FIND_PACKAGE_SQLite3=ON"
                " -D CMAKE_DISABLE_FIND_PACKAGE_X11=ON -D CMAKE_DISABLE_FIND_PACKAGE_GTest=ON");
    ASSERT_EQ(configured.status, 0) << configured.output;
    const Outcome built =
        Execute(Quoted(WATCHWALL_CMAKE) + " --build " + Quoted(BUILD) + " --target consumer --parallel 2");
    ASSERT_EQ(built.status, 0) << built.output;
    const Outcome ran = Execute(Quoted(BUILD + "/consumer"));
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.output, "refused: 1 1\n");
}

}  // namespace
