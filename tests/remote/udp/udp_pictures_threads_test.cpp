// What a channel makes of the messages that its machine sends.

#include <gtest/gtest.h>

#include "tests/remote/udp/udp_remote_support.h"

namespace
{

TEST_F(UdpRemoteTest, BadVideoIsRefusedAndTheNextPictureIsShown)
{
    OpenAndWait(*m_pChannel);
    m_Machine.SendMessage(MakeUdpMessage(0, 1, Bytes(500, 0xEE)));
    m_Machine.SendMessage(MakeUdpMessage(0, 1, {}));  // no data: the header alone
    Bytes lengthless = MakeUdpMessage(0, 1, Bytes(3, 1));
    WriteLittle32(lengthless.data(), 0x40000000);  // a length of 0
    m_Machine.SendMessage(lengthless);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitUntil([&] {
        const std::lock_guard lock(m_Log.lock);
        return m_Log.last.width == 176;
    }));
    EXPECT_EQ(m_pChannel->GetCounters().messages, 4U);
}

TEST_F(UdpRemoteTest, DecoderGetsTheMessageWithoutItsHeaderWordAndNothingAfterIt)
{
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
    // Of a message without data the decoder gets no byte, not what an earlier message left: the picture is
    // shown once more.
    m_Machine.SendMessage(MakeUdpMessage(0, 1, {}));
    ASSERT_TRUE(WaitForShown(2));
    EXPECT_EQ(m_pChannel->GetCounters().refused, 0U);
}

TEST_F(UdpRemoteTest, DatagramOfOneByteDoesNoHarm)
{
    OpenAndWait(*m_pChannel);
    m_Machine.SendMessage(Bytes{0});
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
}

TEST_F(UdpRemoteTest, ReplyOfSizeZeroIsTakenAsItIsAndShowsNoPicture)
{
    m_Machine.m_Width = 0;
    m_Machine.m_Height = 0;
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    const auto& counters = m_pChannel->GetCounters();
    ASSERT_TRUE(WaitUntil([&] { return counters.decoded + counters.refused == 1; }));
    const std::lock_guard lock(m_Log.lock);
    EXPECT_EQ(m_Log.created, (std::vector<std::pair<std::int32_t, std::int32_t>>{{0, 0}}));
    EXPECT_EQ(m_Log.last.width, 0);
}

TEST_F(UdpRemoteTest, ReplyWithASizeBeyondTheLimitLeavesTheChannelOpenAndRefusesItsPictures)
{
    CDebugText debug;
    m_Machine.m_Width = 16384;
    m_Machine.m_Height = 16384;
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    SendPicture(0, 1);
    ASSERT_TRUE(WaitUntil([&] { return m_pChannel->GetCounters().refused == 2; }));
    EXPECT_EQ(m_pChannel->GetStatus(), STATUS_OPEN);
    EXPECT_EQ(m_pChannel->GetCounters().width, 16384);
    EXPECT_EQ(m_pChannel->GetCounters().decoded, 0U);
    EXPECT_EQ(m_Machine.Requests().size(), 1U);
    {
        const std::lock_guard lock(m_Log.lock);
        EXPECT_TRUE(m_Log.created.empty());
    }
    const std::string text = debug.Text();
    const auto first = text.find("16384 x 16384");
    ASSERT_NE(first, std::string::npos) << text;
    EXPECT_EQ(text.find("16384 x 16384", first + 1), std::string::npos) << text;
}

TEST_F(UdpRemoteTest, ExceptionInTheLinkThreadEndsItsChannelAloneWithALineInTheLog)
{
    CDebugText debug;
    m_Log.onCreate = [] { throw std::bad_alloc(); };
    OpenAndWait(*m_pChannel);
    ASSERT_TRUE(WaitUntil([&] { return IsCellFree(); }));
    ASSERT_TRUE(WaitUntil([&] { return m_pChannel->GetStatus() == STATUS_CLOSED; }));
    EXPECT_FALSE(m_pSession->IsReceiveLockTaken());
    EXPECT_EQ(m_pChannel->GetState()->m_pDecoder, nullptr);
    EXPECT_NE(debug.Text().find("channel 1 of 4711 ends: std::bad_alloc"), std::string::npos) << debug.Text();
    {
        const std::lock_guard lock(m_Log.lock);
        m_Log.onCreate = {};
    }
    OpenAndWait(*m_pChannel);  // and may be opened again
    SendPicture(0, 0);
    EXPECT_TRUE(WaitForShown(1));
}

TEST_F(UdpRemoteTest, WithoutARendererPicturesAreDecodedAndNotShown)
{
    ReleaseRender();
    SetRenderFactory([] { return std::unique_ptr<CRender>(); });
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitUntil([&] { return m_pChannel->GetCounters().decoded == 1; }));
    EXPECT_EQ(m_pChannel->GetCounters().shown, 0U);
    EXPECT_EQ(m_pChannel->GetCounters().firstPictureMs, -1);
}

// The key counts at the opening of each stream.
TEST_F(UdpRemoteTest, StandardChromaIsAsTheSettingsSayWhenTheStreamOpens)
{
    std::array<TestPicture, 2> expected;
    for (const int on : {0, 1}) {
        CMpeg4Decoder decoder(176, 144);
        decoder.SetStandardChroma(on == 1);
        const CodecFrame* frame = nullptr;
        for (const Mpeg4Packet& packet : m_Stream)
            frame = decoder.Decode(packet.data(), static_cast<std::int32_t>(packet.size()));
        ASSERT_NE(frame, nullptr);
        expected[static_cast<std::size_t>(on)] = CopyPicture(*frame);
    }
    ASSERT_NE(expected[0].plane[1], expected[1].plane[1]) << "a stream that shows no difference";
    for (const int on : {0, 1, 0}) {
        m_Folder.Write("config/system.ini", "[System]\nStandardChroma=" + std::to_string(on) + "\n");
        auto channel = MakeChannel(0);
        OpenAndWait(*channel);
        for (std::size_t i = 0; i < m_Stream.size(); ++i)
            SendPicture(0, i);
        ASSERT_TRUE(WaitUntil([&] { return channel->GetCounters().shown == m_Stream.size(); }));
        const std::lock_guard lock(m_Log.lock);
        for (std::size_t plane = 0; plane < 3; ++plane)
            EXPECT_EQ(m_Log.last.plane[plane], expected[static_cast<std::size_t>(on)].plane[plane])
                << on << plane;
    }
}

TEST_F(UdpRemoteTest, PicturesAreCountedByWhatBecameOfThem)
{
    const auto& counters = m_pChannel->GetCounters();
    OpenAndWait(*m_pChannel);
    std::uint32_t picture = 0;
    const auto send = [&](EShowing showing) {
        {
            const std::lock_guard lock(m_Log.lock);
            m_Log.showing = showing;
        }
        const std::uint64_t decoded = ++picture;
        SendPicture(0, 0);
        ASSERT_TRUE(WaitUntil([&] {
            const std::lock_guard lock(m_Log.lock);
            return m_Log.shown.size() == decoded;
        }));
    };
    for (const EShowing showing : {EShowing::WithoutCell, EShowing::NotConvertible, EShowing::NotConvertible,
                                   EShowing::Dropped, EShowing::None})
        send(showing);
    EXPECT_EQ(counters.firstPictureMs, -1);
    for (int i = 0; i < 4; ++i)
        send(EShowing::Shown);
    ASSERT_TRUE(WaitUntil([&] { return counters.shown == 4; }));
    EXPECT_EQ(counters.decoded, 9U);
    EXPECT_EQ(counters.withoutCell, 1U);
    EXPECT_EQ(counters.notConvertible, 2U);
    EXPECT_GE(counters.firstPictureMs, 0);
}

TEST_F(UdpRemoteTest, RendererThatTheGridReleasedServesTheOpenChannel)
{
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
    ReleaseRender();
    SendPicture(0, 1);
    EXPECT_TRUE(WaitForShown(2));
}

}  // namespace
