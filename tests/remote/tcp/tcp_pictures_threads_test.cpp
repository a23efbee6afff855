// What becomes of a direct stream's pictures: decoder, size, renderer, counts.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <new>
#include <optional>

#include "codec/decoder.h"
#include "render/CellPool.h"
#include "tests/remote/p2p/p2p_support.h"
#include "tests/remote/tcp/tcp_support.h"
#include "tests/support/allocation_count.h"
#include "tests/support/test_picture.h"

namespace
{

using testing::Contains;
using testing::Not;

class TcpPictures : public CTcpTest
{
};

TEST_F(TcpPictures, PicturesAreDecodedAndShownInOrder)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    EXPECT_EQ(device->GetStatus(), STATUS_OPEN);
    SendAndWait(0, 20);
    device->Close();
    EXPECT_EQ(device->GetStatus(), STATUS_CLOSED);
    const CLinkCounters& counters = device->GetCounters();
    EXPECT_EQ(counters.decoded, 20U);
    EXPECT_EQ(counters.shown, 20U);
    EXPECT_EQ(counters.datagrams, 20U);
    std::uint64_t bytes = 0;
    for (const Mpeg4Packet& packet : m_Stream)
        bytes += packet.size() + 8;
    EXPECT_EQ(counters.bytes, bytes);
    EXPECT_EQ(counters.width, 176);
    EXPECT_EQ(m_Events.All().front(), "tell ");
    EXPECT_EQ(m_Events.CountOf("tell "), 2U);
    EXPECT_EQ(m_Events.CountOf("destroy"), 1U);
}

TEST_F(TcpPictures, PicturesAreCountedByWhatBecameOfThem)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    const CLinkCounters& counters = device->GetCounters();
    std::size_t picture = 0;
    const auto send = [&](EShowing showing) {
        m_Showing = showing;
        SendAndWait(picture, picture + 1);
        ++picture;
    };
    for (const EShowing showing : {EShowing::WithoutCell, EShowing::NotConvertible, EShowing::NotConvertible,
                                   EShowing::Dropped, EShowing::None})
        send(showing);
    EXPECT_EQ(counters.firstPictureMs, -1);
    for (std::uint32_t i = 1; i <= 4; ++i) {
        m_Clock.Set(i * 70);
        send(EShowing::Shown);
        ASSERT_TRUE(WaitUntil([&] { return counters.shown == i; }));  // counted a moment after it is shown
    }
    device->Close();
    EXPECT_EQ(counters.decoded, 9U);
    EXPECT_EQ(counters.shown, 4U);
    EXPECT_EQ(counters.withoutCell, 1U);
    EXPECT_EQ(counters.notConvertible, 2U);
    EXPECT_EQ(counters.firstPictureMs, 70) << "the first one's time stays";
}

TEST_F(TcpPictures, SnapshotWithoutARendererMakesItsFolderAndNoFile)
{
    SetRenderFactory([] { return std::unique_ptr<CRender>(); });
    const auto device = MakeDevice();
    device->Open();
    ASSERT_TRUE(m_Peer.AcceptAndReply());
    device->SnapShot();
    m_Peer.SendVideo(m_Stream[0]);
    ASSERT_TRUE(WaitUntil([&] { return device->GetCounters().decoded == 1; }));
    device->Close();
    EXPECT_EQ(device->GetState()->m_nFlags, 0U);
    EXPECT_EQ(device->GetCounters().shown, 0U);
    ASSERT_TRUE(std::filesystem::is_directory(m_Folder.Path("snapshot")));
    EXPECT_TRUE(std::filesystem::is_empty(m_Folder.Path("snapshot")));
}

/// Keeps a copy of the last picture.
class CKeepingRender final : public CNotingRender
{
  public:
    CKeepingRender(CEvents& events, TestPicture& last) : CNotingRender(events), m_Last(last) {}
    std::int32_t DisplayClient(const CodecFrame* frame, CSurface*, HWND) override
    {
        m_Last = CopyPicture(*frame);
        m_Events.Add("show");
        return 0;
    }

  private:
    TestPicture& m_Last;
};

// The key counts at the opening of each stream.
TEST_F(TcpPictures, StandardChromaIsAsTheSettingsSayWhenTheStreamOpens)
{
    TestPicture shown[2];
    for (const int on : {0, 1}) {
        m_Folder.Write("config/system.ini",
                       "[System]\nDirectoryServer=127.0.0.1\nDirectoryPort=9\nStandardChroma=" +
                           std::to_string(on) + "\n");
        CMpeg4Decoder decoder(176, 144);
        decoder.SetStandardChroma(on == 1);
        const CodecFrame* frame = nullptr;
        for (const Mpeg4Packet& packet : m_Stream)
            frame = decoder.Decode(packet.data(), static_cast<std::int32_t>(packet.size()));
        ASSERT_NE(frame, nullptr);
        const TestPicture expected = CopyPicture(*frame);
        CEvents events;
        ReleaseRender();
        SetRenderFactory([&] { return std::make_unique<CKeepingRender>(events, shown[on]); });
        const auto device = MakeDevice();
        device->Open();
        ASSERT_TRUE(m_Peer.AcceptAndReply());
        for (const Mpeg4Packet& packet : m_Stream)
            m_Peer.SendVideo(packet);
        ASSERT_TRUE(events.WaitFor("show", m_Stream.size()));
        device->Close();
        EXPECT_EQ(DescribeDifference(shown[on], expected), "");
        ReleaseRender();
        SetRenderFactory({});
    }
    EXPECT_NE(DescribeDifference(shown[0], shown[1]), "") << "a stream that shows no difference";
}

using Size = std::pair<std::int32_t, std::int32_t>;

class TcpPictureSize : public CTcpTest, public testing::WithParamInterface<std::tuple<std::int32_t, Size>>
{
};

TEST_P(TcpPictureSize, BeyondTheLimitGetsNoDecoderAndNoSurfaceAndTheLinkGoesOn)
{
    const auto& [mode, size] = GetParam();
    const auto device = MakeDevice(mode);
    const CDebugCapture told;
    device->Open();
    ASSERT_TRUE(m_Peer.AcceptAndReply(size.first, size.second));
    m_Peer.SendVideo(m_Stream[0]);
    ASSERT_TRUE(m_Peer.WaitUntilRead());
    EXPECT_EQ(device->GetState()->m_pDecoder, nullptr);
    m_Peer.SendFrame(2, "");
    EXPECT_TRUE(m_Peer.ClientIsGone());
    device->Close();
    EXPECT_EQ(device->GetCounters().refused, 1U);
    EXPECT_THAT(told.Text(), testing::HasSubstr("cam1: pictures of " + std::to_string(size.first) + " x " +
                                                std::to_string(size.second)));
    EXPECT_THAT(m_Events.All(), Not(Contains(testing::StartsWith("create"))));
}

// A size of 0 or 1 is a whole macroblock to a decoder.
INSTANTIATE_TEST_SUITE_P(Sizes, TcpPictureSize,
                         testing::Combine(testing::Values(MODE_LIVE_MPEG4, MODE_LIVE_H264),
                                          testing::Values(Size{16384, 16384}, Size{0, 0x20200000},
                                                          Size{1, 67108864}, Size{67108864, 1},
                                                          Size{0x7FFFFFFF, 0x7FFFFFFF}, Size{-16, -16},
                                                          Size{176, -144})));

/// Has no memory for what it is asked for.
class CThrowingRender final : public CNotingRender
{
  public:
    CThrowingRender(CEvents& events, bool whenOpened) : CNotingRender(events), m_bWhenOpened(whenOpened) {}
    std::int32_t DisplayClient(const CodecFrame*, CSurface*, HWND) override { throw std::bad_alloc(); }
    CSurface* CreateSurface(std::int32_t width, std::int32_t height) override
    {
        if (m_bWhenOpened) throw std::bad_alloc();
        return CNotingRender::CreateSurface(width, height);
    }

  private:
    const bool m_bWhenOpened;
};

TEST_F(TcpPictures, ExceptionInTheLinkThreadEndsItsChannelAloneWithALineInTheLog)
{
    RemoveAllCells();
    AddCell(HWND{7});
    for (const bool whenOpened : {true, false}) {
        ReleaseRender();
        SetRenderFactory([&] { return std::make_unique<CThrowingRender>(m_Events, whenOpened); });
        const auto device = MakeDevice();
        device->SetName("ga\x1B[2Jte");
        device->SetRenderWnd(TakeFreeCell());
        ASSERT_EQ(device->GetRenderWnd(), HWND{7});
        CDebugCapture told;
        device->Open();
        ASSERT_TRUE(m_Peer.AcceptAndReply());
        m_Peer.SendVideo(m_Stream[0]);
        EXPECT_TRUE(m_Peer.ClientIsGone());
        device->Close();
        EXPECT_EQ(device->GetState()->m_pDecoder, nullptr);
        EXPECT_EQ(device->GetRenderWnd(), HWND::Null);
        EXPECT_THAT(told.Text(), testing::HasSubstr("te ends: std::bad_alloc"));
        EXPECT_EQ(told.Text().find('\x1B'), std::string::npos);
    }
    ReleaseRender();
    SetRenderFactory({});
    RemoveAllCells();
}

/// Has no memory for a picture, nor has its thread for anything else until the surface goes.
class CStarvingRender final : public CNotingRender
{
  public:
    using CNotingRender::CNotingRender;
    std::int32_t DisplayClient(const CodecFrame*, CSurface*, HWND) override
    {
        m_Starved.emplace(1);
        throw std::bad_alloc();
    }
    void DestroySurface(CSurface* surface) override
    {
        m_Starved.reset();
        CNotingRender::DestroySurface(surface);
    }

  private:
    std::optional<CAllocationLimit> m_Starved;
};

TEST_F(TcpPictures, LinkThreadWithoutMemoryForALineEndsItsChannelAlone)
{
    SetRenderFactory([&] { return std::make_unique<CStarvingRender>(m_Events); });
    const auto device = MakeDevice();
    OpenAndReply(*device);
    m_Peer.SendVideo(m_Stream[0]);
    EXPECT_TRUE(m_Peer.ClientIsGone());
    device->Close();
    EXPECT_EQ(m_Events.CountOf("destroy"), 1U);
    EXPECT_EQ(device->GetState()->m_pDecoder, nullptr);
    ReleaseRender();
}

}  // namespace
