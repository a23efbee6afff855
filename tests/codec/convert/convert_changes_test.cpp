// Conversion of what changed since the target was written last: the same bytes as a whole conversion, and no
// more work than is needed.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "codec/convert/convert.h"
#include "codec/cpu.h"
#include "tests/codec/convert/convert_support.h"
#include "tests/support/kernel_walk.h"

namespace
{
constexpr int PIXEL_BYTES = 4;

/// Two pictures of noise, of which the second tells which macroblocks it changed.
class CChangingPicture
{
  public:
    CChangingPicture(int width, int height)
        : m_First(width, height),
          m_Second(width, height),
          m_Numbers(static_cast<std::size_t>((width / 16) * (height / 16)), 1),
          m_Changes{7, 2, width / 16, height / 16, m_Numbers.data()}
    {
    }
    CChangingPicture(const CChangingPicture&) = delete;
    CChangingPicture& operator=(const CChangingPicture&) = delete;

    CodecFrame First()
    {
        CodecFrame frame = m_First.Frame();
        m_FirstChanges = m_Changes;
        m_FirstChanges.picture = 1;
        frame.changes = &m_FirstChanges;
        return frame;
    }
    CodecFrame Second()
    {
        CodecFrame frame = m_Second.Frame();
        frame.changes = &m_Changes;
        return frame;
    }

    /// Makes a macroblock of the second picture another one.
    void Change(int mbX, int mbY, std::uint8_t seed)
    {
        m_Numbers[static_cast<std::size_t>(mbY * m_Changes.across + mbX)] = 2;
        CodecFrame frame = m_Second.Frame();
        for (int plane = 0; plane < 3; ++plane) {
            const int size = plane == 0 ? 16 : 8;
            const int stride = frame.linesize[plane == 0 ? 0 : 1];
            for (int row = 0; row < size; ++row)
                for (int column = 0; column < size; ++column)
                    frame.data[plane][(mbY * size + row) * stride + mbX * size + column] ^=
                        static_cast<std::uint8_t>(seed + row);
        }
    }

    int Across() const { return m_Changes.across; }
    int Down() const { return m_Changes.down; }

  private:
    CNoisePicture m_First;
    CNoisePicture m_Second;
    std::vector<std::uint32_t> m_Numbers;
    CodecChanges m_Changes;
    CodecChanges m_FirstChanges{};
};

constexpr int FORMATS[] = {CONVERT_FORMAT_I420,  CONVERT_FORMAT_YUY2,   CONVERT_FORMAT_UYVY,
                           CONVERT_FORMAT_YVYU,  CONVERT_FORMAT_RGB565, CONVERT_FORMAT_RGB555,
                           CONVERT_FORMAT_BGR24, CONVERT_FORMAT_RGB24,  CONVERT_FORMAT_RGB32,
                           CONVERT_FORMAT_BGR32};

struct Size {
    int width;
    int height;
};

TEST(ConvertChanges, GivesTheBytesOfAWholeConversionForAnyMacroblocks)
{
    std::mt19937 random(3);
    for (const KernelStep& step : KernelSteps()) {
        if (!step.available) continue;
        SCOPED_TRACE(step.name);
        convert_dsp_init(step.caps);
        // the last two have rows below the last whole macroblock, which never change
        for (const Size size : {Size{16, 16}, {32, 16}, {48, 48}, {176, 144}, {48, 40}, {80, 21}}) {
            for (const int format : FORMATS) {
                for (int round = 0; round < 12; ++round) {
                    CChangingPicture picture(size.width, size.height);
                    for (int i = 0; i < picture.Across() * picture.Down(); ++i)
                        if (random() % 12 < static_cast<unsigned>(round))
                            picture.Change(i % picture.Across(), i / picture.Across(),
                                           static_cast<std::uint8_t>(random() | 1));
                    CTargetPicture found(format, size.width * PIXEL_BYTES, size.height);
                    CTargetPicture expected(format, size.width * PIXEL_BYTES, size.height);
                    ConvertHeld held{};
                    ASSERT_EQ(ConvertChanges(found.Target(), picture.First(), size.width, size.height, &held),
                              CONVERT_OK);
                    ASSERT_EQ(ConvertChanges(found.Target(), picture.Second(), size.width, size.height, &held),
                              CONVERT_OK);
                    ASSERT_EQ(ConvertFrame(expected.Target(), picture.Second(), size.width, size.height, false),
                              CONVERT_OK);
                    const int bytes = size.width * PIXEL_BYTES * size.height * 2;
                    ASSERT_TRUE(std::ranges::equal(found.First(bytes), expected.First(bytes)))
                        << "format " << format << ", " << size.width << "x" << size.height << ", round "
                        << round;
                }
            }
        }
    }
    convert_dsp_init(mpeg4_cpu_detect(nullptr));
}

/// One picture of 96x48 pixels (six macroblocks by three) that is converted into the same target twice.
class ConvertChangesTwice : public ::testing::Test
{
  protected:
    static constexpr int WIDTH = 96;
    static constexpr int HEIGHT = 48;

    int32_t Convert(const CodecFrame& frame, ConvertHeld* held)
    {
        return ConvertChanges(m_Target.Target(), frame, WIDTH, HEIGHT, held);
    }
    void Spoil()
    {
        for (int row = 0; row < HEIGHT; ++row)
            std::fill_n(m_Target.Target().data[0] + row * WIDTH * PIXEL_BYTES, WIDTH * PIXEL_BYTES, 0xA5);
    }
    bool WasWritten(int mbX, int mbY) const
    {
        // the fourth byte of every pixel is written as 0
        return m_Target.Row(mbY * 16 + 3)[static_cast<std::size_t>(mbX * 16 * PIXEL_BYTES + 3)] == 0;
    }
    int Written() const
    {
        int count = 0;
        for (int i = 0; i < 18; ++i)
            count += WasWritten(i % 6, i / 6) ? 1 : 0;
        return count;
    }

    CChangingPicture m_Picture{WIDTH, HEIGHT};
    CTargetPicture m_Target{CONVERT_FORMAT_BGR32, WIDTH* PIXEL_BYTES, HEIGHT};
    ConvertHeld m_Held{};
};

TEST_F(ConvertChangesTwice, LeavesWhatDidNotChange)
{
    ASSERT_EQ(Convert(m_Picture.First(), &m_Held), CONVERT_OK);
    EXPECT_EQ(Written(), 18);
    EXPECT_EQ(m_Held.stream, 7U);
    EXPECT_EQ(m_Held.picture, 1U);
    Spoil();
    m_Picture.Change(1, 1, 1);
    m_Picture.Change(2, 1, 1);
    ASSERT_EQ(Convert(m_Picture.Second(), &m_Held), CONVERT_OK);
    EXPECT_EQ(m_Held.picture, 2U);
    EXPECT_TRUE(WasWritten(1, 1));
    EXPECT_TRUE(WasWritten(2, 1));
    EXPECT_EQ(Written(), 2);
    Spoil();
    ASSERT_EQ(Convert(m_Picture.Second(), &m_Held), CONVERT_OK);
    EXPECT_EQ(Written(), 0) << "the same picture once more";
}

TEST_F(ConvertChangesTwice, SingleMacroblockTakesItsNeighbourAlong)
{
    for (const int mbX : {0, 3, 5}) {
        CChangingPicture picture(WIDTH, HEIGHT);
        ConvertHeld held{};
        ASSERT_EQ(Convert(picture.First(), &held), CONVERT_OK);
        Spoil();
        picture.Change(mbX, 2, 1);
        ASSERT_EQ(Convert(picture.Second(), &held), CONVERT_OK);
        EXPECT_TRUE(WasWritten(mbX, 2));
        EXPECT_TRUE(WasWritten(mbX == 5 ? 4 : mbX + 1, 2));
        EXPECT_EQ(Written(), 2);
    }
}

TEST_F(ConvertChangesTwice, WithoutKnowledgeConvertsTheWhole)
{
    const auto whole = [&](const CodecFrame& frame, ConvertHeld* held, const char* what) {
        Spoil();
        EXPECT_EQ(Convert(frame, held), CONVERT_OK) << what;
        EXPECT_EQ(Written(), 18) << what;
    };
    whole(m_Picture.Second(), nullptr, "no record");
    whole(m_Picture.Second(), &m_Held, "an empty record");
    ConvertHeld other{8, 2};
    whole(m_Picture.Second(), &other, "a record of another stream");
    EXPECT_EQ(other.stream, 7U);
    CodecFrame unknown = m_Picture.Second();
    unknown.changes = nullptr;
    whole(unknown, &m_Held, "a frame that doesn't tell");
    EXPECT_EQ(m_Held.stream, 0U) << "nothing is known of these pixels any more";
    whole(m_Picture.Second(), &m_Held, "a frame that tells, after one that doesn't");
}

TEST_F(ConvertChangesTwice, RefusalLeavesTargetAndRecord)
{
    ASSERT_EQ(Convert(m_Picture.First(), &m_Held), CONVERT_OK);
    Spoil();
    EXPECT_EQ(ConvertChanges(m_Target.Target(), m_Picture.Second(), WIDTH - 8, HEIGHT, &m_Held),
              CONVERT_WIDTH_NOT_16);
    EXPECT_EQ(ConvertChanges(m_Target.Target(), m_Picture.Second(), WIDTH, 0, &m_Held), CONVERT_REFUSED);
    EXPECT_EQ(Written(), 0);
    EXPECT_EQ(m_Held.picture, 1U);
}

TEST_F(ConvertChangesTwice, StaysInsideASmallerTarget)
{
    for (int i = 0; i < 18; ++i)
        m_Picture.Change(i % 6, i / 6, 1);
    constexpr int NARROW = 48;
    constexpr int LOW = 20;  // ends within the second row of macroblocks
    ASSERT_EQ(ConvertChanges(m_Target.Target(), m_Picture.First(), NARROW, LOW, &m_Held), CONVERT_OK);
    Spoil();
    ASSERT_EQ(ConvertChanges(m_Target.Target(), m_Picture.Second(), NARROW, LOW, &m_Held), CONVERT_OK);
    for (int row = 0; row < HEIGHT; ++row) {
        for (int x = 0; x < WIDTH; ++x) {
            const bool written = m_Target.Row(row)[static_cast<std::size_t>(x * PIXEL_BYTES + 3)] == 0;
            ASSERT_EQ(written, row < LOW && x < NARROW) << x << "," << row;
        }
    }
}
}  // namespace
