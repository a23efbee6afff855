#include "recorder/server/OwnAddresses.h"

#include <gmock/gmock.h>

namespace
{

using namespace recorder;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint32_t LOOPBACK = 0x7F000001;
constexpr uint32_t NAME_ON_LOOPBACK = 0x7F000101;
constexpr uint32_t OFFICE = 0xC0A80107;
constexpr uint32_t CAMERAS = 0x0A000002;

TEST(OwnAddressesTest, NameOnLoopbackOnlyStandsForTheInterfaces)
{
    const std::vector<uint32_t> interfaces = {LOOPBACK, OFFICE, CAMERAS};
    EXPECT_THAT(ChooseOwnAddresses({NAME_ON_LOOPBACK}, interfaces), ElementsAre(OFFICE, CAMERAS));
    EXPECT_THAT(ChooseOwnAddresses({}, interfaces), ElementsAre(OFFICE, CAMERAS));
    EXPECT_THAT(ChooseOwnAddresses({OFFICE}, interfaces), ElementsAre(OFFICE));
    EXPECT_THAT(ChooseOwnAddresses({LOOPBACK, OFFICE}, interfaces), ElementsAre(LOOPBACK, OFFICE));
}

TEST(OwnAddressesTest, WithoutAnotherInterfaceLoopbackStays)
{
    EXPECT_THAT(ChooseOwnAddresses({NAME_ON_LOOPBACK}, {LOOPBACK}), ElementsAre(NAME_ON_LOOPBACK));
    EXPECT_THAT(ChooseOwnAddresses({}, {LOOPBACK}), ElementsAre(LOOPBACK));
    EXPECT_THAT(ChooseOwnAddresses({}, {}), IsEmpty());
}

}  // namespace
