#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <vector>

#include "tests/codec/mpeg4/mpeg4_fed_support.h"
#include "tests/support/mpeg4_streams.h"
#include "tests/support/mpeg4_writer.h"

/// R4 of the devices.
inline constexpr int CHROMA_DEFAULT[4] = {0, 0, 1, 0};

struct Vector {
    int x;
    int y;
};

inline int PlaneWidth(const TestPicture& picture, int plane)
{
    return plane == 0 ? picture.width : picture.width / 2;
}
inline int PlaneHeight(const TestPicture& picture, int plane)
{
    return plane == 0 ? picture.height : picture.height / 2;
}

/// A sample of a plane, or the nearest one inside.
inline int Sample(const TestPicture& picture, int plane, int x, int y)
{
    const int width = PlaneWidth(picture, plane);
    x = std::clamp(x, 0, width - 1);
    y = std::clamp(y, 0, PlaneHeight(picture, plane) - 1);
    return picture.plane[plane][static_cast<size_t>(y * width + x)];
}

/// Predicts a square by the definition, rounding up.
inline void Predict(const TestPicture& from, TestPicture* to, int plane, int x, int y, int size, Vector vector)
{
    const int width = PlaneWidth(from, plane);
    for (int row = y; row < y + size; ++row) {
        for (int column = x; column < x + size; ++column) {
            const int fx = column + (vector.x >> 1);
            const int fy = row + (vector.y >> 1);
            const int dx = vector.x & 1;
            const int dy = vector.y & 1;
            const int sum = Sample(from, plane, fx, fy) + Sample(from, plane, fx + dx, fy) +
                            Sample(from, plane, fx, fy + dy) + Sample(from, plane, fx + dx, fy + dy);
            to->plane[plane][static_cast<size_t>(row * width + column)] = static_cast<uint8_t>((sum + 2) >> 2);
        }
    }
}

/// The whole prediction of a macroblock with one vector.
inline void PredictMacroblock(const TestPicture& from, TestPicture* to, int mbX, int mbY, Vector vector,
                              const int rounding[4])
{
    Predict(from, to, 0, mbX * 16, mbY * 16, 16, vector);
    const Vector chroma = {(vector.x >> 1) + rounding[vector.x & 3], (vector.y >> 1) + rounding[vector.y & 3]};
    for (int plane : {1, 2})
        Predict(from, to, plane, mbX * 8, mbY * 8, 8, chroma);
}

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

    /// Feeds a P-VOP of what `write` writes after the header.
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
