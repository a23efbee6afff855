#include "platform/os/display.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "tests/support/test_folder.h"

namespace
{

void AddCard(const CTestFolder& folder, const std::string& card, const char* vendor, const char* device)
{
    folder.Write(card + "/device/vendor", std::string(vendor) + "\n");
    folder.Write(card + "/device/device", std::string(device) + "\n");
}

TEST(Display, TheAdapterHasThePciForm)
{
    const CTestFolder folder;
    AddCard(folder, "card0", "0x1002", "0x9616");
    folder.Write("card0/device/subsystem_vendor", "0x1043\n");
    folder.Write("card0/device/subsystem_device", "0x8388\n");
    folder.Write("card0/device/revision", "0x0a\n");
    EXPECT_EQ(GetDisplayAdapterId(folder.Path()), "PCI\\VEN_1002&DEV_9616&SUBSYS_83881043&REV_0A");
}

TEST(Display, WithoutAnAdapterTheVendorIsZero)
{
    const CTestFolder folder;
    const std::string none = "PCI\\VEN_0000&DEV_0000&SUBSYS_00000000&REV_00";
    EXPECT_EQ(GetDisplayAdapterId(folder.Path("missing")), none);
    EXPECT_EQ(GetDisplayAdapterId(folder.Path()), none);
    folder.Write("card0/device/uevent", "DRIVER=simple-framebuffer\n");
    AddCard(folder, "card1", "nonsense", "0x1234");
    AddCard(folder, "renderD128", "0x1002", "0x9616");
    AddCard(folder, "card0-HDMI-A-1", "0x1002", "0x9616");
    AddCard(folder, "card", "0x1002", "0x9616");
    EXPECT_EQ(GetDisplayAdapterId(folder.Path()), none);
}

TEST(Display, TheLowestNumberIsPrimary)
{
    const CTestFolder folder;
    AddCard(folder, "card10", "0x10de", "0x0001");
    AddCard(folder, "card2", "0x8086", "0x0002");
    EXPECT_EQ(GetDisplayAdapterId(folder.Path()).substr(0, 21), "PCI\\VEN_8086&DEV_0002");
}

TEST(Display, TheOneThatTheFirmwareStartedWithIsPrimary)
{
    const CTestFolder folder;
    AddCard(folder, "card0", "0x8086", "0x0002");
    AddCard(folder, "card1", "0x10de", "0x0001");
    folder.Write("card0/device/boot_vga", "0\n");
    folder.Write("card1/device/boot_vga", "1\n");
    EXPECT_EQ(GetDisplayAdapterId(folder.Path()).substr(0, 21), "PCI\\VEN_10DE&DEV_0001");
}

TEST(Display, OfThisMachineHasTheForm)
{
    unsigned vendor = 0;
    unsigned device = 0;
    const std::string id = GetPrimaryDisplayAdapterId();
    EXPECT_EQ(std::sscanf(id.c_str(), "PCI\\VEN_%4x&DEV_%4x&SUBSYS_", &vendor, &device), 2) << id;
    EXPECT_EQ(id.find("VEN_"), 4U) << "vendor digits stand at 8, device digits at 17";
    EXPECT_EQ(id.find("DEV_"), 13U);
}

}  // namespace
