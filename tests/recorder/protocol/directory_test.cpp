#include "recorder/protocol/Directory.h"

#include <gmock/gmock.h>

#include <string>

namespace
{

using recorder::Directory;
using EStep = Directory::EStep;

struct Row {
    const char* name;
    std::string soFar;
    bool noMore;
    EStep step;
    std::string reply;
};

class DirectoryTest : public testing::TestWithParam<Row>
{
};

TEST_P(DirectoryTest, Answers)
{
    const Row& row = GetParam();
    const Directory directory("1001", 16, {"front-door"});
    const auto step = directory.Ask(row.soFar, row.noMore, 0x7F000001);
    EXPECT_EQ(step.step, row.step);
    EXPECT_EQ(step.reply, row.reply);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DirectoryTest,
    testing::Values(
        Row{"Address", "getip?domainname=1001", false, EStep::Reply, "127.0.0.1"},
        Row{"AddressAndChannels", "getip2?domainname=1001", false, EStep::Reply, "127.0.0.1:16:1001"},
        Row{"SameNumberWrittenOtherwise", "getip2?domainname=001001", false, EStep::Reply, "127.0.0.1:16:1001"},
        Row{"Alias", "getip?domainname=Front-Door", false, EStep::Reply, "127.0.0.1"},
        Row{"NameMayGoOn", "getip?domainname=100", false, EStep::Wait, ""},
        Row{"UnknownNameBeginsWithF", "getip?domainname=100", true, EStep::Reply, "failed"},
        Row{"UnknownNameOfSecondQuestion", "getip2?domainname=7", true, EStep::Reply, "failed"},
        Row{"NoNameYet", "getip?domainname=", false, EStep::Wait, ""},
        Row{"NoNameAtAll", "getip?domainname=", true, EStep::Reply, "failed"},
        Row{"ZeroIsNotTheEmptyName", "getip?domainname=0", true, EStep::Reply, "failed"},
        Row{"BeginningOfAQuestion", "geti", false, EStep::Wait, ""},
        Row{"OnlyTheBeginning", "geti", true, EStep::Refuse, ""}, Row{"Nothing", "", false, EStep::Wait, ""},
        Row{"NotAQuestion", "GET / HTTP/1.1", false, EStep::Refuse, ""},
        Row{"TooLong", "getip?domainname=" + std::string(512, 'a'), false, EStep::Refuse, ""}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
