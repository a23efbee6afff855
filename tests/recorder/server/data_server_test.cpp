// The data port alone, its context run by the test, with pictures made up by it.

#include "recorder/server/DataServer.h"

#include <gmock/gmock.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <thread>
#include <utility>

#include "recorder/server/UdpTransport.h"
#include "recorder/store/RecordFile.h"
#include "tests/support/file_limit.h"
#include "tests/support/test_folder.h"

namespace
{

using namespace recorder;
using testing::SizeIs;

class DataServerTest : public testing::Test, public IDirectChannels
{
  protected:
    static constexpr size_t PICTURE_BYTES = 100'000;

    explicit DataServerTest(const DataServer::Setup& setup = ServerSetup(), int clientBuffer = 0)
        : m_Server(m_Context, setup, *this), m_Client(m_Context, asio::ip::tcp::v4())
    {
        if (clientBuffer > 0) m_Client.set_option(asio::socket_base::receive_buffer_size(clientBuffer));
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
    void WantKey(int, ECodec) override { ++m_iKeysWanted; }

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
    void Ask(uint32_t mode, uint32_t record, uint32_t channel)
    {
        Bytes body(12);
        WriteU32(body.data(), mode);
        WriteU32(body.data() + 4, record);
        WriteU32(body.data() + 8, channel);
        asio::write(m_Client, asio::buffer(MakeFrame(body)));
    }
    bool Watch()
    {
        Ask(3, 0, 2);
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
    int m_iKeysWanted = 0;
    asio::io_context m_Context;
    DataServer m_Server;
    asio::ip::tcp::socket m_Client;
    FrameReader m_Reader{MAX_MEDIA_FRAME_BYTES};
    std::vector<Bytes> m_Frames;  // the reply is the first
};

TEST_F(DataServerTest, AClientThatTakesNothingIsBoundedAndGoesOnWithAKeyPicture)
{
    ASSERT_TRUE(Watch());
    m_iKeysWanted = 0;
    Picture(1, true);
    uint64_t given = 1;
    for (; given < 1000 && Only().dropped == 0; ++given)
        Picture(2, false);
    ASSERT_EQ(Only().dropped, 1U);
    EXPECT_EQ(m_iKeysWanted, 1);
    Picture(3, false);
    EXPECT_EQ(Only().dropped, 2U) << "it waits for the key picture";
    EXPECT_EQ(m_iKeysWanted, 1) << "asked for once";
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
    EXPECT_EQ(Only().dropped, 2U);
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
    EXPECT_EQ(m_iKeysWanted, 1) << "so that it needs not wait for the group's end";
    Picture(1, false);
    Picture(2, true);
    ASSERT_TRUE(RunUntil([&] {
        Take();
        return m_Frames.size() == 2 && Only().pictures == 1;
    }));
    EXPECT_EQ(m_Frames[1].back(), 2);
    EXPECT_EQ(Only().dropped, 0U) << "what came before it began isn't left out";
}

TEST_F(DataServerTest, AClientThatHangsUpIsNotWatchingAnyMore)
{
    ASSERT_TRUE(Watch());
    m_Client.close();
    EXPECT_TRUE(RunUntil([this] { return m_Watching[{2, ECodec::H264}] == 0; }));
    EXPECT_THAT(m_Server.Clients(), SizeIs(1)) << "kept for the report";
}

TEST_F(DataServerTest, FromItsEndOnAClientGetsNothingThatIsNotCounted)
{
    ASSERT_TRUE(Watch());
    uint64_t given = 0;
    while (given < 100 && Only().pictures == given) {
        Picture(1, true);
        ++given;
    }
    ASSERT_LT(Only().pictures, given) << "a write waits for the client";
    m_Server.End();
    Picture(2, true);
    ASSERT_TRUE(RunUntil([this] {
        Take();
        char byte = 0;
        return recv(m_Client.native_handle(), &byte, 1, MSG_DONTWAIT | MSG_PEEK) == 0;
    }));
    EXPECT_EQ(m_Frames.size(), 1 + Only().pictures);
    EXPECT_EQ(m_Frames.back().back(), 1);
}

TEST_F(DataServerTest, OfThoseThatLeftTheLatestAreKeptForTheReport)
{
    std::vector<Endpoint> all;
    for (size_t i = 0; i <= DataServer::MAX_FORMER_CLIENTS; ++i) {
        ASSERT_TRUE(Watch());
        all.push_back(m_Server.Clients().back().endpoint);
        Picture(1, true);
        ASSERT_TRUE(RunUntil([&] { return m_Server.AllSent()[2].pictures == i + 1; }));
        m_Client.close();
        ASSERT_TRUE(RunUntil([this] { return m_Watching[{2, ECodec::H264}] == 0; }));
        m_Client.connect({asio::ip::address_v4(m_Server.Local().address), m_Server.Local().port});
    }
    ASSERT_THAT(m_Server.Clients(), SizeIs(DataServer::MAX_FORMER_CLIENTS));
    EXPECT_EQ(m_Server.Clients().front().endpoint, all[1]);
    EXPECT_EQ(m_Server.Clients().back().endpoint, all.back());
    const DataServer::Sent sent = m_Server.AllSent()[2];
    EXPECT_EQ(sent.pictures, all.size()) << "those too that are no longer told of";
    EXPECT_EQ(sent.bytes, all.size() * (MEDIA_HEADER_BYTES + PICTURE_BYTES));
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

TEST_F(DataServerTest, AClientForWhomNoDescriptorIsLeftIsTakenLater)
{
    // The first one also has the sanitizer look at every object on the way: it opens a pipe for that, once.
    ASSERT_TRUE(RunUntil([this] { return m_Server.Counts().connections == 1; }));
    const asio::ip::tcp::socket first = std::exchange(m_Client, asio::ip::tcp::socket(m_Context));
    m_Client.connect({asio::ip::address_v4(m_Server.Local().address), m_Server.Local().port});
    {
        const CResourceLimit noFile(RLIMIT_NOFILE, 0);
        EXPECT_EQ(m_Context.run_one(), 1U);
    }
    EXPECT_EQ(m_Server.Counts().connections, 1U);
    EXPECT_TRUE(Watch());
    EXPECT_EQ(m_Server.Counts().connections, 2U);
}

TEST_F(DataServerTest, AClientThatAsksForNothingIsLetGo)
{
    ASSERT_TRUE(Watch());
    asio::ip::tcp::socket silent(m_Context);
    silent.connect({asio::ip::address_v4(m_Server.Local().address), m_Server.Local().port});
    asio::write(silent, asio::buffer("\x10\0\0\0\3", 5));
    ASSERT_TRUE(RunUntil([this] { return m_Server.Counts().timeouts == 1; }));
    char byte = 0;
    EXPECT_TRUE(RunUntil([&] { return recv(silent.native_handle(), &byte, 1, MSG_DONTWAIT) == 0; }));
    EXPECT_THAT(m_Server.Clients(), SizeIs(1));
    EXPECT_EQ((m_Watching[{2, ECodec::H264}]), 1) << "who has asked stays";
}

// A client with a small buffer, and a short time-out for it.
class LateClientTest : public DataServerTest
{
  protected:
    static constexpr TimeUs DROP_AFTER = 250 * MILLISECOND;

    explicit LateClientTest(int trickleMs = 0) : DataServerTest(LateSetup(trickleMs), 4096) {}
    DataServer::Setup LateSetup(int trickleMs)
    {
        DataServer::Setup setup = ServerSetup();
        setup.faults.trickleMs = trickleMs;
        setup.dropAfter = DROP_AFTER;
        setup.pathOfRecord = [this](int) { return m_Folder.Path("record.mkv"); };
        return setup;
    }
    // Until the system's buffer and the queue are full.
    bool FallBehind()
    {
        if (!Watch()) return false;
        for (int i = 0; i < 1000 && Only().dropped == 0; ++i)
            Picture(1, true);
        return Only().dropped > 0;
    }
    // Of 100 pictures, more than the system's buffer holds.
    void AskForALongRecord()
    {
        const Bytes picture(PICTURE_BYTES, 1);
        {
            RecordWriter writer(m_Folder.Path("record.mkv"), {704, 576}, picture);
            for (int i = 0; i < 100; ++i)
                writer.Write(picture, std::chrono::milliseconds(i), i == 0);
        }
        Ask(2, 1, 0);
    }
    bool IsWatching() { return m_Watching[{2, ECodec::H264}] == 1; }
    // Whether the server has closed, with bytes still on their way: state 4 in the kernel's table, which has a
    // line for each connection: "0: local:port remote:port state ...".
    bool IsEnding()
    {
        char port[8];
        std::snprintf(port, sizeof port, ":%04X", m_Client.local_endpoint().port());
        std::ifstream table("/proc/net/tcp");
        for (std::string line; std::getline(table, line);) {
            std::istringstream fields(line);
            std::string number, local, remote, state;
            fields >> number >> local >> remote >> state;
            if (remote.ends_with(port) && state == "04") return true;
        }
        return false;
    }

    CTestFolder m_Folder;
};

TEST_F(LateClientTest, OneThatTakesNothingForTooLongIsLetGo)
{
    ASSERT_TRUE(FallBehind());
    EXPECT_TRUE(RunUntil([this] {
        Picture(2, true);
        return !IsWatching();
    }));
}

// Far less than a picture each time, so that no write ends for long.
TEST_F(LateClientTest, OneThatTakesALittleAllTheTimeStays)
{
    ASSERT_TRUE(FallBehind());
    const TimeUs begun = Now();
    while (Now() - begun < 6 * DROP_AFTER) {
        Take();
        Picture(2, true);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_TRUE(IsWatching());
}

TEST_F(LateClientTest, OneThatTakesNothingOfARecordIsLetGo)
{
    AskForALongRecord();
    EXPECT_TRUE(RunUntil([this] {
        m_Context.run_for(std::chrono::milliseconds(50));  // reading the table takes longer than an event
        return IsEnding();
    }));
    EXPECT_LT(Only().pictures, 100U);
}

TEST_F(LateClientTest, OneThatTakesALittleOfARecordAllTheTimeStays)
{
    AskForALongRecord();
    const TimeUs begun = Now();
    while (Now() - begun < 8 * DROP_AFTER) {
        Take();
        m_Context.run_for(std::chrono::milliseconds(20));
    }
    EXPECT_FALSE(IsEnding());
    EXPECT_LT(Only().pictures, 100U) << "the record was not long enough";
}

// The recorder's own pauses are none of the client's.
class TrickleTest : public LateClientTest
{
  protected:
    TrickleTest() : LateClientTest(4 * static_cast<int>(DROP_AFTER / MILLISECOND)) {}
};

TEST_F(TrickleTest, OneThatTakesEachByteStaysThroughThePausesBetween)
{
    ASSERT_TRUE(Watch());
    size_t taken = 0;
    EXPECT_TRUE(RunUntil([&] {
        Picture(1, true);
        char byte = 0;
        if (recv(m_Client.native_handle(), &byte, 1, MSG_DONTWAIT) == 1) ++taken;
        return taken == 3 || !IsWatching();
    }));
    EXPECT_EQ(taken, 3U);
}

}  // namespace
