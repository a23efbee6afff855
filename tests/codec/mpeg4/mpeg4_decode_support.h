#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "tests/codec/mpeg4/mpeg4_fed_support.h"
#include "tests/support/mpeg4_streams.h"
#include "tests/support/mpeg4_writer.h"

/// A decoder of 48x48, three macroblocks square, that has shown an I picture.
class Mpeg4Decode : public ::testing::Test
{
  protected:
    static constexpr int SIZE = 48;

    void SetUp() override
    {
        m_Packets = EncodeMpeg4({.width = SIZE, .height = SIZE, .frames = 3, .scene = ETestScene::Lively});
        ASSERT_GT(m_Fed.Feed(m_Packets[0]), 0);
        m_Base = m_Fed.Picture();
    }

    /// Feeds a P-VOP of what `write` writes behind the header.
    void FeedP(const std::function<void(CMpeg4Writer&)>& write, const Mpeg4VopFields& fields = {.type = 1})
    {
        CMpeg4Writer writer;
        writer.Vop(fields);
        write(writer);
        ASSERT_GT(m_Fed.Feed(writer.Take()), 0);
        ASSERT_NE(m_Fed.m_iGot, 0);
    }

    /// Shows the I picture again, so that the next P-VOP predicts from it.
    void Restore() { ASSERT_GT(m_Fed.Feed(m_Packets[0]), 0); }

    CFed m_Fed{SIZE, SIZE};
    std::vector<Mpeg4Packet> m_Packets;
    TestPicture m_Base;
};
