#include "remote/ptz/RemotePtz.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "remote/tcp/TextCommand.h"
#include "tests/remote/tcp/socket_pair_support.h"
#include "tests/support/file_limit.h"

namespace
{

using Call = std::int32_t (IPtz::*)();

struct CommandRow {
    const char* text;
    Call call;
};

// The table a second time, in the order of the slots.
constexpr CommandRow ROWS[] = {
    {"LeftStart", &IPtz::LeftStart},
    {"LeftStop", &IPtz::LeftStop},
    {"RightStart", &IPtz::RightStart},
    {"RightStop", &IPtz::RightStop},
    {"UpStart", &IPtz::UpStart},
    {"UpStop", &IPtz::UpStop},
    {"DownStart", &IPtz::DownStart},
    {"DownStop", &IPtz::DownStop},
    {"ScanStart", &IPtz::ScanStart},
    {"SoftScanStop", &IPtz::SoftScanStop},
    {"SoftScanStart", &IPtz::SoftScanStart},
    {"ScanStop", &IPtz::ScanStop},
    {"ZoomInStart", &IPtz::ZoomInStart},
    {"ZoomInStop", &IPtz::ZoomInStop},
    {"ZoomOutStart", &IPtz::ZoomOutStart},
    {"ZoomOutStop", &IPtz::ZoomOutStop},
    {"FocusInStart", &IPtz::FocusInStart},
    {"FocusInStop", &IPtz::FocusInStop},
    {"FocusOutStart", &IPtz::FocusOutStart},
    {"FocusOutStop", &IPtz::FocusOutStop},
    {"IrisCloseStart", &IPtz::IrisCloseStart},
    {"IrisCloseStop", &IPtz::IrisCloseStop},
    {"IrisOpenStart", &IPtz::IrisOpenStart},
    {"IrisOpenStop", &IPtz::IrisOpenStop},
    {"RainStart", &IPtz::RainStart},
    {"RainStop", &IPtz::RainStop},
    {"LightStart", &IPtz::LightStart},
    {"LightStop", &IPtz::LightStop},
};

std::string AsFrame(const std::string& text)
{
    return std::string(1, static_cast<char>(text.size() + 4)) + std::string(3, '\0') + text;
}

class RemotePtz : public testing::Test
{
  protected:
    CControlPeer m_Device{10060};
};

TEST_F(RemotePtz, EachMovementSendsItsTextAndTheChannel)
{
    CRemotePtz ptz(m_Device.Address(), 3);
    for (const CommandRow& row : ROWS) {
        EXPECT_EQ((static_cast<IPtz&>(ptz).*row.call)(), 0);
        EXPECT_EQ(m_Device.NextCommand(), AsFrame(std::string(row.text) + ":3"));
    }
}

// A table of functions as hosts and panels call it: the place in the class is the interface.
// soft-scan-stop-first
TEST_F(RemotePtz, SlotsStandInTheirOrder)
{
    CRemotePtz ptz(m_Device.Address(), 12);
    IPtz* const base = &ptz;
    using Slot = std::int32_t (*)(IPtz*);
    // Itanium C++ ABI: two entries for the virtual destructor stand before the slots.
    Slot* const slots = *reinterpret_cast<Slot**>(base) + 2;
    for (std::size_t i = 0; i < std::size(ROWS); ++i) {
        EXPECT_EQ(slots[i](base), 0);
        EXPECT_EQ(m_Device.NextCommand(), AsFrame(std::string(ROWS[i].text) + ":12")) << "slot " << i;
    }
}

TEST_F(RemotePtz, SlotsWithoutATextAnswerZeroAndSendNothing)
{
    CRemotePtz ptz(m_Device.Address(), 1);
    EXPECT_EQ(ptz.Slot28(9), 0);
    EXPECT_EQ(ptz.Slot29(9), 0);
    EXPECT_EQ(ptz.Slot30(9), 0);
    EXPECT_EQ(ptz.Slot31(9), 0);
    EXPECT_EQ(ptz.Slot32(9), 0);
    EXPECT_EQ(ptz.Slot33(9), 0);
    EXPECT_EQ(ptz.Slot34(9, 8), 0);
    EXPECT_EQ(ptz.Slot35(), 0);
    EXPECT_EQ(ptz.Slot36(), 0);
    EXPECT_EQ(ptz.Slot37(), 0);
    EXPECT_EQ(ptz.Slot38(), 0);
    EXPECT_EQ(ptz.Slot39(), 0);
    EXPECT_EQ(ptz.Slot40(), 0);
    EXPECT_EQ(ptz.Slot41(9, 8), 0);
    EXPECT_EQ(ptz.Slot42(9, 8), 0);
    ptz.LightStop();
    EXPECT_EQ(m_Device.NextCommand(), AsFrame("LightStop:1")) << "something was sent before";
}

TEST(RemotePtzAlone, DeviceThatRefusesGivesZeroAllTheSame)
{
    CRemotePtz ptz("127.63.255.254", 0);
    EXPECT_EQ(ptz.UpStart(), 0);
    CRemotePtz nameless("", 0);
    EXPECT_EQ(nameless.UpStart(), 0);
}

TEST(RemotePtzAlone, WithoutASocketTheAnswerIsMinusOne)
{
    CRemotePtz ptz("127.63.255.254", 0);
    const CResourceLimit noFile(RLIMIT_NOFILE, 0);
    EXPECT_EQ(ptz.UpStart(), -1);
    EXPECT_EQ(ptz.Slot35(), 0);
}

TEST_F(RemotePtz, ColourCommandHasChannelAndValue)
{
    EXPECT_EQ(SendTextCommand(m_Device.Address(), MakeTextCommand("SetHue", 2, 200)), 0);
    EXPECT_EQ(m_Device.NextCommand(), AsFrame("SetHue:2:200"));
    EXPECT_EQ(MakeTextCommand("SetBright", -1, -7), "SetBright:-1:-7");
}

}  // namespace
