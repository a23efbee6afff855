#include "recorder/server/DataServer.h"

#include <linux/sockios.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <deque>
#include <utility>

#include "recorder/server/Playback.h"
#include "recorder/server/UdpTransport.h"

namespace recorder
{

// One connection; kept alive by its own pending operations, and known to the server until it is closed.
class DataServer::Viewer : public std::enable_shared_from_this<Viewer>
{
  public:
    Viewer(DataServer& server, asio::ip::tcp::socket socket, const Endpoint& from)
        : m_Server(&server),
          m_Socket(std::move(socket)),
          m_Timer(m_Socket.get_executor()),
          m_Stall(m_Socket.get_executor())
    {
        m_Counts.endpoint = from;
        asio::error_code ignored;
        m_Socket.set_option(asio::ip::tcp::no_delay(true), ignored);
    }

    void Start()
    {
        m_Timer.expires_after(std::chrono::microseconds(TIME_LIMIT));
        m_Timer.async_wait([self = shared_from_this()](asio::error_code error) {
            if (error || self->m_Server == nullptr) return;
            ++self->m_Server->m_Counts.timeouts;
            self->Close();
        });
        ReadNext();
    }

    const ClientCounts& Counts() const { return m_Counts; }

    // The server is gone: whatever comes is ignored.
    void Forget() noexcept
    {
        m_Server = nullptr;
        if (m_Playback) m_Playback->Stop();
    }

    void OnPicture(TimeUs now, const std::shared_ptr<const Coded>& coded)
    {
        if (m_WaitsForKey && !coded->key) {
            if (m_Behind) ++m_Counts.dropped;
            return;
        }
        const size_t bytes = MEDIA_HEADER_BYTES + coded->bytes.size();
        if (TakesNothing(now)) {
            Close();
            return;
        }
        if (m_Queued + bytes > m_Server->m_Setup.maxQueuedBytes) {
            // Pictures that build on the missing one would show nothing but damage.
            ++m_Counts.dropped;
            m_Behind = m_WaitsForKey = true;
            m_Server->m_Channels.WantKey(m_Counts.channel, m_Counts.codec);
            return;
        }
        m_Behind = m_WaitsForKey = false;
        PushPicture(coded);
        Pump();
    }

    bool Watches(int channel, ECodec codec) const
    {
        return m_Streams && m_Counts.channel == channel && m_Counts.codec == codec;
    }

    // Whatever is written from now on fails.
    void End()
    {
        asio::error_code ignored;
        m_Socket.shutdown(asio::socket_base::shutdown_send, ignored);
    }

    void Close()
    {
        asio::error_code ignored;
        m_Socket.shutdown(asio::socket_base::shutdown_both, ignored);
        m_Socket.close(ignored);
        m_Timer.cancel();
        m_Stall.cancel();
        if (m_Playback) m_Playback->Stop();
        DataServer* const server = std::exchange(m_Server, nullptr);
        if (server == nullptr) return;
        if (m_Streams) server->m_Channels.Watch(m_Counts.channel, m_Counts.codec, -1);
        if (m_Streams || m_Counts.record >= 0) server->Remember(m_Counts);
        server->m_Viewers.erase(shared_from_this());
    }

  private:
    // Bytes of its own, and those of a picture that others send too.
    struct Item {
        Bytes own;
        std::shared_ptr<const Coded> coded;
        bool last = false;  // the connection ends after it
    };

    void ReadNext()
    {
        m_Socket.async_read_some(asio::buffer(m_Buffer),
                                 [self = shared_from_this()](asio::error_code error, size_t bytes) {
                                     if (self->m_Server == nullptr) return;
                                     if (!self->m_Asked) self->Consider(bytes);
                                     if (error)
                                         self->Close();
                                     else if (self->m_Server != nullptr)
                                         self->ReadNext();
                                 });
    }

    // What follows the request has no meaning.
    void Consider(size_t bytes)
    {
        m_Reader.Add(std::span(m_Buffer).first(bytes));
        const auto body = m_Reader.Next();
        if (!body && !m_Reader.Damaged()) return;
        m_Asked = true;
        m_Timer.cancel();
        const auto request = body ? ParseDirectRequest(*body) : std::nullopt;
        if (!request) {
            ++m_Server->m_Counts.refused;
            Close();
            return;
        }
        OnRequest(*request);
    }

    void OnRequest(const StreamRequest& request)
    {
        IDirectChannels& channels = m_Server->m_Channels;
        const auto mode = static_cast<EMode>(request.mode);
        if (mode == EMode::Playback) {
            Play(request.record);
            return;
        }
        const bool live = mode == EMode::LiveMpeg4 || mode == EMode::LiveH264;
        const bool known = request.channel >= 0 && request.channel < channels.Count();
        if (!known || (!live && mode != EMode::Query)) {
            Refuse();
            return;
        }
        m_Counts.channel = request.channel;
        m_Counts.codec = mode == EMode::LiveH264 ? ECodec::H264 : ECodec::Mpeg4;
        if (!live) ++m_Server->m_Counts.queries;
        Push(
            {MakeDirectReply(EReply::Stream, channels.Width(request.channel), channels.Height(request.channel)),
             nullptr, !live});
        if (!live || m_Server == nullptr) return;
        m_Streams = true;
        channels.Watch(m_Counts.channel, m_Counts.codec, 1);
        channels.WantKey(m_Counts.channel, m_Counts.codec);
    }

    void Refuse()
    {
        ++m_Server->m_Counts.refused;
        Push({MakeDirectReply(EReply::Refused, 0, 0), nullptr, true});
    }

    // One picture after the other: the next is asked for when the client has taken all.
    void Play(int record)
    {
        const std::string path = m_Server->m_Setup.pathOfRecord(record);
        if (path.empty()) {
            Refuse();
            return;
        }
        const auto with = [weak = weak_from_this()](auto act) {
            return [weak, act](auto&&... what) {
                const auto self = weak.lock();
                if (self && self->m_Server != nullptr) act(*self, what...);
            };
        };
        m_Playback = std::make_shared<Playback>(
            m_Socket.get_executor(), m_Server->m_Disk,
            Playback::Events{
                with([record](Viewer& self, PictureSize size) {
                    self.m_Counts.record = record;
                    ++self.m_Server->m_Counts.played;
                    self.PushRecorded({MakeDirectReply(EReply::Stream, size.width, size.height), nullptr});
                }),
                with([](Viewer& self, const std::shared_ptr<const Coded>& coded) {
                    self.PushPicture(coded);
                    self.PushRecorded({});
                }),
                with([](Viewer& self) {
                    if (self.m_Counts.record >= 0)
                        self.Close();
                    else
                        self.Refuse();
                })});
        m_Playback->Open(path);
    }

    void PushRecorded(Item item)
    {
        if (!item.own.empty()) Queue(std::move(item));
        m_Taken = Now();
        WatchForStall();
        Pump();
    }

    // Whether it has been so for too long. A slow client takes something long before a write has ended: the
    // system lets a write go on only when a good part of its buffer is free.
    bool TakesNothing(TimeUs now)
    {
        if (m_Queue.empty() || m_Pauses) return false;
        int unacknowledged = 0;  // bytes in the system's buffer
        ioctl(m_Socket.native_handle(), SIOCOUTQ, &unacknowledged);
        if (std::exchange(m_Unacknowledged, unacknowledged) != unacknowledged) m_Taken = now;
        return now - m_Taken >= m_Server->m_Setup.dropAfter;
    }

    void WatchForStall()
    {
        m_Stall.expires_after(std::chrono::microseconds(m_Server->m_Setup.dropAfter));
        m_Stall.async_wait([self = shared_from_this()](asio::error_code error) {
            if (error || self->m_Server == nullptr || self->m_Queue.empty()) return;
            if (self->TakesNothing(Now()))
                self->Close();
            else
                self->WatchForStall();
        });
    }

    // With the harm that was asked for.
    void PushPicture(const std::shared_ptr<const Coded>& coded)
    {
        DataServer& server = *m_Server;
        const DirectFaults& faults = server.m_Setup.faults;
        const auto header = [](uint32_t type, size_t byteCount) {
            const auto bytes = MakeMediaHeader(type, byteCount);
            return Bytes(bytes.begin(), bytes.end());
        };
        if (server.Happens(faults.nothing))
            Queue({header(static_cast<uint32_t>(EMedia::Nothing), 0), nullptr, false});
        uint32_t type = static_cast<uint32_t>(EMedia::Video);
        size_t length = coded->bytes.size();
        if (server.Happens(faults.wrongType)) {
            type = 2 + server.m_Random() % 1000;
            ++server.m_Counts.harmed;
        }
        if (server.Happens(faults.wrongLength)) {
            // Among them lengths that no buffer holds, and negative ones.
            length = server.m_Random() % 4 == 0 ? server.m_Random() : server.m_Random() % (2 * length + 1);
            ++server.m_Counts.harmed;
        }
        if (server.Happens(faults.close)) {
            Bytes part = header(type, length);
            part.insert(part.end(), coded->bytes.begin(),
                        coded->bytes.begin() + static_cast<ptrdiff_t>(coded->bytes.size() / 2));
            ++server.m_Counts.harmed;
            Queue({std::move(part), nullptr, true});
            return;
        }
        Queue({header(type, length), coded, false});
    }

    void Push(Item item)
    {
        Queue(std::move(item));
        Pump();
    }

    void Queue(Item item)
    {
        if (m_Queue.empty()) m_Taken = Now();
        m_Queued += SizeOf(item);
        m_Queue.push_back(std::move(item));
    }

    static size_t SizeOf(const Item& item)
    {
        return item.own.size() + (item.coded ? item.coded->bytes.size() : 0);
    }

    void Pump()
    {
        if (m_Writing || m_Queue.empty()) return;
        m_Writing = true;
        if (m_Server->m_Setup.faults.trickleMs > 0)
            Trickle();
        else
            Write();
    }

    void Write()
    {
        const Item& item = m_Queue.front();
        std::array<asio::const_buffer, 2> buffers = {asio::buffer(item.own), asio::const_buffer()};
        if (item.coded) buffers[1] = asio::buffer(item.coded->bytes);
        asio::async_write(m_Socket, buffers, [self = shared_from_this()](asio::error_code error, size_t) {
            self->OnWritten(error);
        });
    }

    // One byte, then a pause.
    void Trickle()
    {
        m_Pauses = false;
        m_Taken = Now();
        const Item& item = m_Queue.front();
        const uint8_t& byte = m_Trickled < item.own.size() ? item.own[m_Trickled]
                                                           : item.coded->bytes[m_Trickled - item.own.size()];
        asio::async_write(
            m_Socket, asio::buffer(&byte, 1), [self = shared_from_this()](asio::error_code error, size_t) {
                if (error || self->m_Server == nullptr || ++self->m_Trickled == SizeOf(self->m_Queue.front())) {
                    self->m_Trickled = 0;
                    self->OnWritten(error);
                    return;
                }
                self->m_Pauses = true;
                self->m_Timer.expires_after(
                    std::chrono::milliseconds(self->m_Server->m_Setup.faults.trickleMs));
                self->m_Timer.async_wait([self](asio::error_code ended) {
                    if (!ended && self->m_Server != nullptr) self->Trickle();
                });
            });
    }

    void OnWritten(asio::error_code error)
    {
        m_Writing = false;
        if (m_Server == nullptr) return;
        const Item& item = m_Queue.front();
        if (error || item.last) {
            Close();
            return;
        }
        m_Taken = Now();
        m_Queued -= SizeOf(item);
        if (item.coded) {
            ++m_Counts.pictures;
            m_Counts.bytes += SizeOf(item);
        }
        m_Queue.pop_front();
        if (m_Playback && m_Queue.empty()) m_Playback->Continue();
        Pump();
    }

    DataServer* m_Server;  // null once closed
    asio::ip::tcp::socket m_Socket;
    asio::steady_timer m_Timer;  // for the request; then of a trickle
    asio::steady_timer m_Stall;  // of a client that is played to
    std::shared_ptr<Playback> m_Playback;
    FrameReader m_Reader{STREAM_REQUEST_BYTES};
    std::array<uint8_t, 256> m_Buffer{};
    bool m_Asked = false;
    bool m_Streams = false;
    bool m_WaitsForKey = true;
    bool m_Behind = false;  // it waits for the key picture since one was left out
    bool m_Writing = false;
    bool m_Pauses = false;     // between two bytes of a trickle
    std::deque<Item> m_Queue;  // the first is being written
    size_t m_Queued = 0;
    size_t m_Trickled = 0;  // of the first
    TimeUs m_Taken = 0;     // when the client took something last
    int m_Unacknowledged = 0;
    ClientCounts m_Counts;
};

DataServer::DataServer(asio::io_context& context, const Setup& setup, IDirectChannels& channels)
    : m_Setup(setup),
      m_Channels(channels),
      m_Random(setup.seed),
      m_Listener(context, setup.at, [this](asio::ip::tcp::socket socket) { Accept(std::move(socket)); })
{
}

DataServer::~DataServer()
{
    m_Disk.stop();
    m_Disk.join();
    for (const auto& viewer : m_Viewers)
        viewer->Forget();
}

void DataServer::Accept(asio::ip::tcp::socket socket)
{
    ++m_Counts.connections;
    asio::error_code error;
    const auto remote = socket.remote_endpoint(error);
    if (error) return;
    const Endpoint from{remote.address().to_v4().to_uint(), remote.port()};
    const auto neighbours = std::count_if(m_Viewers.begin(), m_Viewers.end(), [&](const auto& viewer) {
        return viewer->Counts().endpoint.address == from.address;
    });
    if (m_Viewers.size() >= m_Setup.clients || static_cast<size_t>(neighbours) >= m_Setup.clientsPerAddress) {
        ++m_Counts.turnedAway;  // the socket's end closes it
        return;
    }
    const auto viewer = std::make_shared<Viewer>(*this, std::move(socket), from);
    m_Viewers.insert(viewer);
    viewer->Start();
}

void DataServer::OnPicture(int channel, const std::shared_ptr<const Coded>& coded)
{
    const TimeUs now = Now();
    // A viewer that OnPicture closes leaves the set.
    std::vector<std::shared_ptr<Viewer>> watching;
    for (const auto& viewer : m_Viewers)
        if (viewer->Watches(channel, coded->codec)) watching.push_back(viewer);
    for (const auto& viewer : watching)
        viewer->OnPicture(now, coded);
}

void DataServer::End()
{
    for (const auto& viewer : m_Viewers)
        viewer->End();
}

std::vector<DataServer::ClientCounts> DataServer::Clients() const
{
    std::vector<ClientCounts> all = m_Former;
    for (const auto& viewer : m_Viewers)
        if (viewer->Counts().channel >= 0 || viewer->Counts().record >= 0) all.push_back(viewer->Counts());
    return all;
}

std::map<int, DataServer::Sent> DataServer::AllSent() const
{
    std::map<int, Sent> all = m_Earlier;
    for (const ClientCounts& client : Clients())
        all[client.channel].Add(client);
    return all;
}

void DataServer::Remember(const ClientCounts& client)
{
    if (m_Former.size() == MAX_FORMER_CLIENTS) {
        m_Earlier[m_Former.front().channel].Add(m_Former.front());
        m_Former.erase(m_Former.begin());
    }
    m_Former.push_back(client);
}

void DataServer::Sent::Add(const ClientCounts& client)
{
    pictures += client.pictures;
    bytes += client.bytes;
    dropped += client.dropped;
}

bool DataServer::Happens(double percent)
{
    if (percent <= 0) return false;
    return std::uniform_real_distribution<double>(0, 100)(m_Random) < percent;
}

}  // namespace recorder
