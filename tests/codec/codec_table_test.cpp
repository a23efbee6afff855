// The codec table: which rows are found, and what the four entry points answer at their edges.
#include "codec/codec.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
/// What the hooks of the test's own row were asked, and what they answer.
struct HookLog {
    int32_t openResult = 0;
    int32_t decodeResult = 1;
    int32_t got = 0;
    int opens = 0;
    int closes = 0;
    int decodes = 0;
    int32_t lastSize = 0;
};
HookLog g_Log;

int32_t OpenHook(CodecContext* /*context*/)
{
    ++g_Log.opens;
    return g_Log.openResult;
}

int32_t CloseHook(CodecContext* /*context*/)
{
    ++g_Log.closes;
    return 0;
}

int32_t DecodeHook(CodecContext* /*context*/, CodecFrame* /*frame*/, int32_t* got, const uint8_t* /*data*/,
                   int32_t size)
{
    ++g_Log.decodes;
    g_Log.lastSize = size;
    *got = g_Log.got;
    return g_Log.decodeResult;
}

std::string g_strReported;

class CodecTable : public ::testing::Test
{
  protected:
    void SetUp() override
    {
        g_Log = {};
        g_strReported.clear();
        codec_init();
        codec_register_all();
        m_pOldReport = codec_set_report([](const char* text) { g_strReported += text; });
        m_Context.width = 176;
        m_Context.height = 144;
    }

    void TearDown() override
    {
        codec_close(&m_Context);
        codec_set_report(m_pOldReport);
    }

    int32_t Decode(int32_t size)
    {
        static const uint8_t data[16] = {};
        return codec_decode(&m_Context, &m_Frame, &m_iGot, data, size);
    }

    CodecEntry m_Row = {.name = "test",
                        .kind = CODEC_KIND_VIDEO,
                        .id = 1000,
                        .priv_size = 100,
                        .open = OpenHook,
                        .encode = nullptr,
                        .close = CloseHook,
                        .decode = DecodeHook,
                        .capabilities = 0,
                        .next = nullptr};
    CodecContext m_Context = {};
    CodecFrame m_Frame = {};
    int32_t m_iGot = -1;
    codec_report_fn m_pOldReport = nullptr;
};

TEST_F(CodecTable, UnknownIdIsNotFound)
{
    EXPECT_EQ(codec_find_decoder(99), nullptr);
}

TEST_F(CodecTable, RowWithoutADecodeHookIsNotFound)
{
    EXPECT_EQ(codec_find_decoder(8), nullptr);
}

TEST_F(CodecTable, H264RowIsFoundById)
{
    const CodecEntry* const entry = codec_find_decoder(28);
    ASSERT_NE(entry, nullptr);
    EXPECT_STREQ(entry->name, "c264");
    EXPECT_EQ(entry->kind, 0);
    EXPECT_EQ(entry->capabilities, 0x0au);
}

TEST_F(CodecTable, RowsStandInTheirOrder)
{
    const struct {
        const char* name;
        int32_t id;
        bool decodes;
    } rows[] = {
        {"mpeg4", 13, true}, {"c264", 28, true}, {"c264", 28, false}, {"mpeg4", 13, false}, {"mjpeg", 8, false},
    };
    const CodecEntry* entry = codec_find_decoder(13);
    for (const auto& row : rows) {
        ASSERT_NE(entry, nullptr) << row.name;
        EXPECT_STREQ(entry->name, row.name);
        EXPECT_EQ(entry->kind, 0);
        EXPECT_EQ(entry->id, row.id);
        EXPECT_EQ(entry->decode != nullptr, row.decodes);
        EXPECT_EQ(entry->open != nullptr, row.decodes);
        entry = entry->next;
    }
    EXPECT_EQ(entry, nullptr);
}

TEST_F(CodecTable, H264RowKeepsEightWordsAndOpens)
{
    const CodecEntry* const entry = codec_find_decoder(28);
    EXPECT_EQ(entry->priv_size, 32u);
    EXPECT_EQ(codec_open(&m_Context, entry), 0);
    EXPECT_EQ(codec_close(&m_Context), 0);
}

TEST_F(CodecTable, OpenRefusesANullEntry)
{
    EXPECT_EQ(codec_open(&m_Context, nullptr), -1);
}

TEST_F(CodecTable, OpenBindsTheEntryAndClearsThePrivateRecord)
{
    m_Context.picture_count = 7;
    ASSERT_EQ(codec_open(&m_Context, &m_Row), 0);
    EXPECT_EQ(m_Context.entry, &m_Row);
    EXPECT_EQ(m_Context.codec_id, 1000);
    EXPECT_EQ(m_Context.picture_count, 0);
    ASSERT_NE(m_Context.priv, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(m_Context.priv) % CODEC_ALIGN, 0u);
    for (size_t i = 0; i < m_Row.priv_size; ++i)
        EXPECT_EQ(static_cast<const uint8_t*>(m_Context.priv)[i], 0);
}

TEST_F(CodecTable, SecondOpenFailsAndLeavesTheContextOpen)
{
    ASSERT_EQ(codec_open(&m_Context, &m_Row), 0);
    void* const priv = m_Context.priv;
    EXPECT_EQ(codec_open(&m_Context, &m_Row), -1);
    EXPECT_EQ(m_Context.entry, &m_Row);
    EXPECT_EQ(m_Context.priv, priv);
    EXPECT_EQ(g_Log.opens, 1);
    EXPECT_EQ(Decode(4), 1);
}

TEST_F(CodecTable, FailingOpenHookUnbinds)
{
    g_Log.openResult = -9999;
    EXPECT_EQ(codec_open(&m_Context, &m_Row), -1);
    EXPECT_EQ(m_Context.entry, nullptr);
    EXPECT_EQ(m_Context.priv, nullptr);
    EXPECT_EQ(g_Log.closes, 0);
    EXPECT_EQ(Decode(4), -1);
}

TEST_F(CodecTable, HookResultOfZeroIsAFailure)
{
    ASSERT_EQ(codec_open(&m_Context, &m_Row), 0);
    g_Log.decodeResult = 0;
    EXPECT_EQ(Decode(4), -1);
    EXPECT_EQ(g_Log.decodes, 1);
}

TEST_F(CodecTable, NegativeHookResultBecomesMinusOne)
{
    ASSERT_EQ(codec_open(&m_Context, &m_Row), 0);
    g_Log.decodeResult = -9965;
    EXPECT_EQ(Decode(4), -1);
}

TEST_F(CodecTable, PositiveHookResultIsTheBytesConsumed)
{
    ASSERT_EQ(codec_open(&m_Context, &m_Row), 0);
    g_Log.decodeResult = 9;
    EXPECT_EQ(Decode(12), 9);
    EXPECT_EQ(g_Log.lastSize, 12);
}

TEST_F(CodecTable, PictureCountRisesOnlyWithAPicture)
{
    ASSERT_EQ(codec_open(&m_Context, &m_Row), 0);
    EXPECT_EQ(Decode(4), 1);
    EXPECT_EQ(m_iGot, 0);
    EXPECT_EQ(m_Context.picture_count, 0);
    g_Log.got = 4;
    EXPECT_EQ(Decode(4), 1);
    EXPECT_EQ(m_iGot, 4);
    EXPECT_EQ(m_Context.picture_count, 1);
}

TEST_F(CodecTable, NoDataAnswersZeroWithoutTheHook)
{
    ASSERT_EQ(codec_open(&m_Context, &m_Row), 0);
    m_iGot = 5;
    EXPECT_EQ(Decode(0), 0);
    EXPECT_EQ(m_iGot, 0);
    EXPECT_EQ(Decode(-2), 0);
    EXPECT_EQ(g_Log.decodes, 0);
}

TEST_F(CodecTable, NoDataReachesARowThatHoldsPicturesBack)
{
    m_Row.capabilities = 0x20;
    ASSERT_EQ(codec_open(&m_Context, &m_Row), 0);
    EXPECT_EQ(Decode(0), 1);
    EXPECT_EQ(g_Log.decodes, 1);
}

TEST_F(CodecTable, CloseOfAClosedContextFails)
{
    EXPECT_EQ(codec_close(&m_Context), -1);
    ASSERT_EQ(codec_open(&m_Context, &m_Row), 0);
    EXPECT_EQ(codec_close(&m_Context), 0);
    EXPECT_EQ(g_Log.closes, 1);
    EXPECT_EQ(codec_close(&m_Context), -1);
    EXPECT_EQ(g_Log.closes, 1);
}

TEST_F(CodecTable, DecodeOnAClosedContextFails)
{
    EXPECT_EQ(Decode(4), -1);
    EXPECT_EQ(Decode(0), -1);
}

TEST_F(CodecTable, SizeThatCannotBeIsRefusedAndReported)
{
    const struct {
        int32_t width;
        int32_t height;
        bool valid;
        const char* text;
    } rows[] = {
        {1, 1, true, ""},
        {16384, 16384, true, ""},
        {0, 16, false, "picture size invalid (0x16)\n"},
        {16, 0, false, "picture size invalid (16x0)\n"},
        {-1, 16, false, "picture size invalid (4294967295x16)\n"},
        {16, INT32_MIN, false, "picture size invalid (16x2147483648)\n"},
        // 135 x (3976693 + 128) is 76 below 0x1FFFFFFF, one row more is 59 above it
        {7, 3976693, true, ""},
        {7, 3976694, false, "picture size invalid (7x3976694)\n"},
        // 110490 x 4859 is 0x1FFFFFFE, 256999 x 2089 is 0x1FFFFFFF
        {110362, 4731, true, ""},
        {256871, 1961, false, "picture size invalid (256871x1961)\n"},
        {INT32_MAX, INT32_MAX, false, "picture size invalid (2147483647x2147483647)\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.width << "x" << row.height);
        g_strReported.clear();
        EXPECT_EQ(codec_check_size(row.width, row.height), row.valid);
        EXPECT_EQ(g_strReported, row.text);
    }
}

TEST_F(CodecTable, OpenWithAnInvalidSizeFailsWithoutTheHook)
{
    m_Context.width = -16;
    EXPECT_EQ(codec_open(&m_Context, &m_Row), -1);
    EXPECT_EQ(g_Log.opens, 0);
    EXPECT_EQ(m_Context.entry, nullptr);
    EXPECT_EQ(g_strReported, "picture size invalid (4294967280x144)\n");
}

TEST_F(CodecTable, OpenChecksNoSizeUntilBothAreSet)
{
    m_Context.width = 0;
    EXPECT_EQ(codec_open(&m_Context, &m_Row), 0);
    EXPECT_EQ(g_Log.opens, 1);
    EXPECT_EQ(g_strReported, "");
    // a decode looks at a size of which either is set
    EXPECT_EQ(Decode(4), -1);
    EXPECT_EQ(g_Log.decodes, 0);
    EXPECT_EQ(g_strReported, "picture size invalid (0x144)\n");
}

TEST_F(CodecTable, DecodeWithoutAnySizeReachesTheHook)
{
    m_Context.width = 0;
    m_Context.height = 0;
    ASSERT_EQ(codec_open(&m_Context, &m_Row), 0);
    EXPECT_EQ(Decode(4), 1);
}
}  // namespace
