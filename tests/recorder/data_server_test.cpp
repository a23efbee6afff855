// The data port alone, its context run by the test, with pictures made up by it.

#include "recorder/server/DataServer.h"

#include <gmock/gmock.h>
#include <sys/socket.h>

#include <chrono>
#include <map>

namespace
{

using namespace recorder;
using testing::SizeIs;

class DataServerTest : public testing::Test, public IDirectChannels
{
  protected:
    static constexpr size_t PICTURE_BYTES = 100'000;

    DataServerTest() : m_Client(m_Context)
    {
        m_Server.Start();
        const Endpoint at = m_Server.Local();
        m_Client.connect({asio::ip::address_v4(at.address), at.port});
    }
    static DataServer::Setup ServerSetup()
    {
        DataServer::Setup setup;
        setup.at = {0x7F000001, 0};
        setup.maxQueuedBytes = 1'000'000;
        return setup;
    }
    int Count() const override { return 4; }
    int Width(int) const override { return 704; }
    int Height(int) const override { return 576; }
    void Watch(int channel, ECodec codec, int more) override { m_Watching[{channel, codec}] += more; }
    void WantKey(int, ECodec) override { ++m_KeysWanted; }

    template <class Condition_t>
    bool RunUntil(const Condition_t& condition)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > end) return false;
            m_Context.run_one_for(std::chrono::milliseconds(1));
        }
        return true;
    }
    bool Watch()
    {
        Bytes body(12);
        WriteU32(body.data(), 3);
        WriteU32(body.data() + 8, 2);
        asio::write(m_Client, asio::buffer(MakeFrame(body)));
        return RunUntil([this] { return m_Watching[{2, ECodec::H264}] == 1; });
    }
    // A picture that tells its number and whether it is a key picture.
    void Picture(uint8_t number, bool key)
    {
        auto coded = std::make_shared<Coded>();
        coded->codec = ECodec::H264;
        coded->key = key;
        coded->bytes.assign(PICTURE_BYTES, number);
        coded->bytes[0] = key ? 1 : 0;
        m_Server.OnPicture(2, coded);
        m_Context.poll();
    }
    // Takes what is there.
    void Take()
    {
        Bytes bytes(1 << 20);
        const ssize_t got = recv(m_Client.native_handle(), bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (got <= 0) return;
        m_Reader.Add(std::span(bytes).first(static_cast<size_t>(got)));
        while (auto body = m_Reader.Next())
            m_Frames.push_back(std::move(*body));
    }
    DataServer::ClientCounts Only() const { return m_Server.Clients().at(0); }

    std::map<std::pair<int, ECodec>, int> m_Watching;
    int m_KeysWanted = 0;
    asio::io_context m_Context;
    DataServer m_Server{m_Context, ServerSetup(), *this};
    asio::ip::tcp::socket m_Client;
    FrameReader m_Reader{MAX_MEDIA_FRAME_BYTES};
    std::vector<Bytes> m_Frames;  // the reply is the first
};

TEST_F(DataServerTest, AClientThatTakesNothingIsBoundedAndGoesOnWithAKeyPicture)
{
    ASSERT_TRUE(Watch());
    m_KeysWanted = 0;
    Picture(1, true);
    uint64_t given = 1;
    for (; given < 1000 && Only().dropped == 0; ++given)
        Picture(2, false);
    ASSERT_EQ(Only().dropped, 1U);
    EXPECT_EQ(m_KeysWanted, 1);
    Picture(3, false);
    EXPECT_EQ(Only().dropped, 1U) << "it waits for the key picture";
    const uint64_t queued = given - 1;
    EXPECT_LT(Only().pictures, queued) << "what waits isn't told as sent";
    ASSERT_TRUE(RunUntil([&] {
        Take();
        return m_Frames.size() == 1 + queued;
    })) << "every picture before the gap comes";
    Picture(4, true);
    Picture(5, false);
    ASSERT_TRUE(RunUntil([&] {
        Take();
        return m_Frames.size() == 3 + queued && Only().pictures == 2 + queued;
    }));
    EXPECT_EQ(Only().bytes, (2 + queued) * (MEDIA_HEADER_BYTES + PICTURE_BYTES));
    const auto number = [&](size_t i) { return static_cast<int>(m_Frames[i].back()); };
    EXPECT_EQ(number(1), 1);
    for (size_t i = 2; i <= queued; ++i)
        EXPECT_EQ(number(i), 2) << i;
    EXPECT_EQ(number(queued + 1), 4);
    EXPECT_EQ(number(queued + 2), 5);
}

TEST_F(DataServerTest, NothingComesBeforeAKeyPicture)
{
    ASSERT_TRUE(Watch());
    Picture(1, false);
    Picture(2, true);
    ASSERT_TRUE(RunUntil([&] {
        Take();
        return m_Frames.size() == 2 && Only().pictures == 1;
    }));
    EXPECT_EQ(m_Frames[1].back(), 2);
}

TEST_F(DataServerTest, AClientThatHangsUpIsNotWatchingAnyMore)
{
    ASSERT_TRUE(Watch());
    m_Client.close();
    EXPECT_TRUE(RunUntil([this] { return m_Watching[{2, ECodec::H264}] == 0; }));
    EXPECT_THAT(m_Server.Clients(), SizeIs(1)) << "kept for the report";
}

TEST_F(DataServerTest, AnAddressHasNoMoreThanItsShareOfThePlaces)
{
    DataServer::Setup setup = ServerSetup();
    setup.clients = 4;
    setup.clientsPerAddress = 2;
    DataServer server(m_Context, setup, *this);
    server.Start();
    std::vector<asio::ip::tcp::socket> clients;
    const auto connect = [&](uint32_t from) {
        asio::ip::tcp::socket& client = clients.emplace_back(m_Context);
        client.open(asio::ip::tcp::v4());
        client.bind({asio::ip::address_v4(from), 0});
        client.connect({asio::ip::address_v4(0x7F000001), server.Local().port});
        return RunUntil([&] { return server.Counts().connections == clients.size(); });
    };
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(connect(0x7F000001));
    EXPECT_EQ(server.Counts().turnedAway, 1U);
    for (int i = 0; i < 2; ++i)
        ASSERT_TRUE(connect(0x7F000002));
    EXPECT_EQ(server.Counts().turnedAway, 1U) << "another address has places of its own";
    ASSERT_TRUE(connect(0x7F000003));
    EXPECT_EQ(server.Counts().turnedAway, 2U) << "all places are taken";
}

}  // namespace
