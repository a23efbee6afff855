#include "tests/support/kernel_walk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "codec/cpu.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{

// The walk itself: every slot of every family, each a test of its own so that a failure or a crash names it.
class KernelWalk : public testing::TestWithParam<KernelSlot>
{
};

TEST_P(KernelWalk, GivesThePlainResultAtEveryStep)
{
    for (const std::string& fault : ProveKernel(GetParam(), KernelSeed()))
        ADD_FAILURE() << fault;
}

INSTANTIATE_TEST_SUITE_P(Slots, KernelWalk, testing::ValuesIn(AllKernelSlots()),
                         [](const auto& parameter) { return parameter.param.name; });

// The alarm rings: slots that are broken on purpose.
using HalveFn = void (*)(std::uint8_t* to, const std::uint8_t* from, int count);

void HalvePlain(std::uint8_t* to, const std::uint8_t* from, int count)
{
    for (int i = 0; i < count; ++i)
        to[i] = from[i] / 2;
}

void HalveWrongForLargeValues(std::uint8_t* to, const std::uint8_t* from, int count)
{
    for (int i = 0; i < count; ++i)
        to[i] = from[i] == 255 ? 128 : from[i] / 2;
}

void HalveOneTooMany(std::uint8_t* to, const std::uint8_t* from, int count)
{
    HalvePlain(to, from, count);
    to[count] ^= 1;
}

void HalveReadsBehind(std::uint8_t* to, const std::uint8_t* from, int count)
{
    HalvePlain(to, from, count);
    const volatile std::uint8_t behind = from[count];
    static_cast<void>(behind);
}

KernelSlot HalveSlot(HalveFn sse2)
{
    const auto choose = [sse2](std::uint32_t caps) { return (caps & CODEC_CAP_SSE2) != 0 ? sse2 : HalvePlain; };
    KernelSlot slot;
    slot.name = "halve";
    slot.select = [choose](std::uint32_t caps) { return KernelAddress(choose(caps)); };
    slot.run = [choose](CKernelRun& run) {
        CKernelPlane from(run, {.width = 16, .rows = 4, .stride = run.Stride(16)});
        CKernelPlane to(run, {.width = 16, .rows = 4, .stride = run.Stride(16) * 2});
        from.Fill(run);
        for (int row = 0; row < 4; ++row)
            choose(run.Caps())(to.Row(row), from.Row(row), 16);
        run.Keep(to);
    };
    return slot;
}

TEST(KernelWalkAlarm, IsSilentForAnEqualKernel)
{
    EXPECT_THAT(ProveKernel(HalveSlot([](std::uint8_t* to, const std::uint8_t* from, int count) {
                                for (int i = 0; i < count; ++i)
                                    to[i] = from[i] >> 1;
                            }),
                            1),
                IsEmpty());
}

TEST(KernelWalkAlarm, NamesSlotStepAndSeedOfADifference)
{
    const auto faults = ProveKernel(HalveSlot(HalveWrongForLargeValues), 77);
    EXPECT_THAT(faults,
                ElementsAre(AllOf(HasSubstr("halve at step SSE2"), HasSubstr("WATCHWALL_KERNEL_SEED=77"),
                                  HasSubstr("is 128, of the plain kernel 127"))));
}

TEST(KernelWalkAlarm, FindsAWriteBesideTheTarget)
{
    EXPECT_THAT(ProveKernel(HalveSlot(HalveOneTooMany), 1),
                Contains(HasSubstr("writes outside of its 16 by 4")));
}

TEST(KernelWalkAlarmDeathTest, AReadPastTheSourceHitsAnUnreadablePage)
{
    EXPECT_DEATH(ProveKernel(HalveSlot(HalveReadsBehind), 1), "");
}

TEST(KernelWalkAlarm, AnEmptySlotIsAFault)
{
    KernelSlot slot = HalveSlot(HalvePlain);
    slot.select = [](std::uint32_t) { return static_cast<const void*>(nullptr); };
    EXPECT_THAT(ProveKernel(slot, 1), ElementsAre(HasSubstr("the slot is empty")));
}

TEST(KernelWalkAlarm, ARunThatKeepsNothingIsAFault)
{
    KernelSlot slot = HalveSlot(HalvePlain);
    slot.run = [](CKernelRun&) {};
    EXPECT_THAT(ProveKernel(slot, 1), ElementsAre(HasSubstr("keeps no output")));
}

TEST(KernelWalkSteps, OnlyStepsThatChangeTheSlotAreCompared)
{
    if (!KernelSteps().at(1).available) {
        EXPECT_THAT(ChangedSteps(HalveSlot(HalveOneTooMany)), IsEmpty());
        return;
    }
    EXPECT_THAT(ChangedSteps(HalveSlot(HalvePlain)), IsEmpty());
    EXPECT_THAT(ChangedSteps(HalveSlot(HalveOneTooMany)),
                ElementsAre(testing::Field(&KernelStep::name, testing::StrEq("SSE2"))));
}

TEST(KernelWalkSteps, EachStepHoldsTheBitsOfTheOnesBeforeIt)
{
    std::uint32_t before = 0;
    for (const KernelStep& step : KernelSteps()) {
        EXPECT_EQ(step.caps & before, before) << step.name;
        before = step.caps;
    }
}

TEST(KernelWalkSlots, EveryNameStandsOnce)
{
    std::set<std::string> names;
    for (const KernelSlot& slot : AllKernelSlots())
        EXPECT_TRUE(names.insert(slot.name).second) << slot.name << " stands twice";
}

TEST(KernelWalkSlots, EverySlotCanBeTimed)
{
    for (const KernelSlot& slot : AllKernelSlots()) {
        ASSERT_TRUE(slot.time) << slot.name;
        slot.time(CODEC_STEP_PLAIN)(1);
        for (const KernelStep& step : ChangedSteps(slot))
            slot.time(step.caps)(1);
    }
}

TEST(KernelPlane, PlacesRowsByStrideAndPadsAndAlignment)
{
    CKernelRun run(0, 3);
    for (int i = 0; i < 200; ++i) {
        const int align = 1 << run.Pick(0, 6);
        const std::ptrdiff_t stride = run.Pick(0, 1) != 0 ? 192 : -192;
        CKernelPlane plane(run, {.width = 32,
                                 .rows = 5,
                                 .stride = stride,
                                 .align = align,
                                 .padLeft = 3,
                                 .padRight = 9,
                                 .padTop = 2,
                                 .padBottom = 4});
        plane.Fill(run);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(plane.Row(0)) % static_cast<unsigned>(align), 0u);
        EXPECT_EQ(plane.Row(3) - plane.Row(0), 3 * stride);
        int sum = 0;  // all of the pads can be read
        for (int y = -2; y < 9; ++y)
            for (int x = -3; x < 32 + 9; ++x)
                sum += plane.Row(y)[x];
        EXPECT_GE(sum, 0);
        EXPECT_EQ(plane.Check(), "");
        plane.Row(4)[31] ^= 1;
        EXPECT_EQ(plane.Check(), "") << "the rectangle may be written";
        plane.Row(-1)[0] ^= 1;
        EXPECT_THAT(plane.Check(), HasSubstr(std::to_string(-stride) + " bytes from its first byte"));
    }
}

TEST(KernelRun, DrawsTheSameNumbersAtEveryStep)
{
    CKernelRun plain(CODEC_STEP_PLAIN, 9);
    CKernelRun vector(CODEC_STEP_AVX2, 9);
    for (int i = 0; i < 1000; ++i) {
        const int low = -i;
        const int pick = plain.Pick(low, 3 * i);
        EXPECT_EQ(pick, vector.Pick(low, 3 * i));
        EXPECT_GE(pick, low);
        EXPECT_LE(pick, 3 * i);
    }
}

}  // namespace
