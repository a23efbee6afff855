#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "codec/codec.h"
#include "codec/mpeg4_dec.h"
#include "tests/support/mpeg4_streams.h"

/// Sample by sample.
inline void ExpectSamePicture(const TestPicture& found, const TestPicture& expected)
{
    for (int plane = 0; plane < 3; ++plane) {
        const auto width = static_cast<size_t>(plane == 0 ? expected.width : expected.width / 2);
        ASSERT_EQ(found.plane[plane].size(), expected.plane[plane].size());
        for (size_t i = 0; i < expected.plane[plane].size(); ++i)
            ASSERT_EQ(found.plane[plane][i], expected.plane[plane][i])
                << "plane " << plane << ", x " << i % width << ", y " << i / width;
    }
}

/// One open decoder, fed through the hook itself, so that the raw results are seen.
class CFed
{
  public:
    CFed(int width, int height)
    {
        codec_init();
        codec_register_all();
        m_Context.width = width;
        m_Context.height = height;
        EXPECT_EQ(codec_open(&m_Context, codec_find_decoder(CODEC_ID_MPEG4)), 0);
    }
    ~CFed() { codec_close(&m_Context); }
    CFed(const CFed&) = delete;
    CFed& operator=(const CFed&) = delete;

    int32_t Feed(const std::vector<uint8_t>& bytes)
    {
        m_iGot = 0;
        return m_Context.entry->decode(&m_Context, &m_Frame, &m_iGot, bytes.data(),
                                       static_cast<int32_t>(bytes.size()));
    }
    TestPicture Picture() const { return CopyPicture(m_Frame); }
    Mpeg4Decoder* Record() const { return static_cast<Mpeg4Decoder*>(m_Context.priv); }

    CodecContext m_Context = {};
    CodecFrame m_Frame = {};
    int32_t m_iGot = 0;
};
