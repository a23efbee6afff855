#include "recorder/protocol/Directory.h"

#include <gmock/gmock.h>

#include <string>

namespace
{

using recorder::CDirectory;
using EStep = CDirectory::EStep;

struct XRow {
    const char* m_szName;
    std::string m_strSoFar;
    bool m_bNoMore;
    EStep m_Step;
    std::string m_strReply;
};

class DirectoryTest : public testing::TestWithParam<XRow>
{
};

TEST_P(DirectoryTest, Answers)
{
    const XRow& row = GetParam();
    const CDirectory directory("1001", 16, {"front-door"});
    const auto step = directory.Ask(row.m_strSoFar, row.m_bNoMore, 0x7F000001);
    EXPECT_EQ(step.m_Step, row.m_Step);
    EXPECT_EQ(step.m_strReply, row.m_strReply);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DirectoryTest,
    testing::Values(XRow{"Address", "getip?domainname=1001", false, EStep::Reply, "127.0.0.1"},
                    XRow{"AddressAndChannels", "getip2?domainname=1001", false, EStep::Reply,
                         "127.0.0.1:16:1001"},
                    XRow{"SameNumberWrittenOtherwise", "getip2?domainname=001001", false, EStep::Reply,
                         "127.0.0.1:16:1001"},
                    XRow{"Alias", "getip?domainname=Front-Door", false, EStep::Reply, "127.0.0.1"},
                    XRow{"NameMayGoOn", "getip?domainname=100", false, EStep::Wait, ""},
                    XRow{"UnknownNameBeginsWithF", "getip?domainname=100", true, EStep::Reply, "failed"},
                    XRow{"UnknownNameOfSecondQuestion", "getip2?domainname=7", true, EStep::Reply, "failed"},
                    XRow{"NoNameYet", "getip?domainname=", false, EStep::Wait, ""},
                    XRow{"NoNameAtAll", "getip?domainname=", true, EStep::Reply, "failed"},
                    XRow{"ZeroIsNotTheEmptyName", "getip?domainname=0", true, EStep::Reply, "failed"},
                    XRow{"BeginningOfAQuestion", "geti", false, EStep::Wait, ""},
                    XRow{"OnlyTheBeginning", "geti", true, EStep::Refuse, ""},
                    XRow{"Nothing", "", false, EStep::Wait, ""},
                    XRow{"NotAQuestion", "GET / HTTP/1.1", false, EStep::Refuse, ""},
                    XRow{"TooLong", "getip?domainname=" + std::string(512, 'a'), false, EStep::Refuse, ""}),
    [](const auto& row) { return std::string(row.param.m_szName); });

}  // namespace
