#include "recorder/server/DataServer.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <deque>
#include <utility>

#include "recorder/server/Playback.h"
#include "recorder/server/UdpRoad.h"

namespace recorder
{

// One connection; kept alive by its own pending operations, and known to the server until it is closed.
class CDataServer::CViewer : public std::enable_shared_from_this<CViewer>
{
  public:
    CViewer(CDataServer& server, asio::ip::tcp::socket socket, const XEndpoint& from)
        : m_pServer(&server),
          m_Socket(std::move(socket)),
          m_Timer(m_Socket.get_executor()),
          m_Stall(m_Socket.get_executor())
    {
        m_Counts.m_Endpoint = from;
        asio::error_code ignored;
        m_Socket.set_option(asio::ip::tcp::no_delay(true), ignored);
    }

    void Start()
    {
        m_Timer.expires_after(std::chrono::microseconds(PATIENCE));
        m_Timer.async_wait([self = shared_from_this()](asio::error_code error) {
            if (error || self->m_pServer == nullptr) return;
            ++self->m_pServer->m_Counts.m_ulTimeouts;
            self->Close();
        });
        ReadNext();
    }

    const XClientCounts& Counts() const { return m_Counts; }

    // The server is no more: nothing is to be done when something comes.
    void Forget() noexcept
    {
        m_pServer = nullptr;
        if (m_pPlayback) m_pPlayback->Stop();
    }

    void OnPicture(TimeUs iNow, const std::shared_ptr<const XCoded>& pCoded)
    {
        if (m_bWaitsForKey && !pCoded->m_bKey) return;
        const size_t bytes = MEDIA_HEADER_BYTES + pCoded->m_Bytes.size();
        if (!m_Queue.empty() && iNow - m_iTaken >= m_pServer->m_Setup.m_iDropAfter) {
            Close();
            return;
        }
        if (m_ulQueued + bytes > m_pServer->m_Setup.m_ulMaxQueuedBytes) {
            // Pictures that build on the missing one would show nothing but damage.
            ++m_Counts.m_ulDropped;
            m_bWaitsForKey = true;
            m_pServer->m_Channels.WantKey(m_Counts.m_iChannel, m_Counts.m_Codec);
            return;
        }
        m_bWaitsForKey = false;
        Count(bytes);
        PushPicture(pCoded);
        Pump();
    }

    bool Watches(int iChannel, ECodec codec) const
    {
        return m_bStreams && m_Counts.m_iChannel == iChannel && m_Counts.m_Codec == codec;
    }

    void Close()
    {
        asio::error_code ignored;
        m_Socket.shutdown(asio::socket_base::shutdown_both, ignored);
        m_Socket.close(ignored);
        m_Timer.cancel();
        m_Stall.cancel();
        if (m_pPlayback) m_pPlayback->Stop();
        CDataServer* const server = std::exchange(m_pServer, nullptr);
        if (server == nullptr) return;
        if (m_bStreams) server->m_Channels.Watch(m_Counts.m_iChannel, m_Counts.m_Codec, -1);
        if (m_bStreams || m_Counts.m_iRecord >= 0) {
            if (server->m_Former.size() == MAX_FORMER_CLIENTS) server->m_Former.erase(server->m_Former.begin());
            server->m_Former.push_back(m_Counts);
        }
        server->m_Viewers.erase(shared_from_this());
    }

  private:
    // Bytes of its own, and those of a picture that others send too.
    struct XItem {
        Bytes m_Own;
        std::shared_ptr<const XCoded> m_pCoded;
        bool m_bLast = false;  // the connection ends behind it
    };

    void ReadNext()
    {
        m_Socket.async_read_some(asio::buffer(m_Buffer),
                                 [self = shared_from_this()](asio::error_code error, size_t bytes) {
                                     if (self->m_pServer == nullptr) return;
                                     if (!self->m_bAsked) self->Consider(bytes);
                                     if (error)
                                         self->Close();
                                     else if (self->m_pServer != nullptr)
                                         self->ReadNext();
                                 });
    }

    // What comes behind the request says nothing.
    void Consider(size_t ulBytes)
    {
        m_Reader.Add(std::span(m_Buffer).first(ulBytes));
        const auto body = m_Reader.Next();
        if (!body && !m_Reader.Damaged()) return;
        m_bAsked = true;
        m_Timer.cancel();
        const auto request = body ? ParseDirectRequest(*body) : std::nullopt;
        if (!request) {
            ++m_pServer->m_Counts.m_ulRefused;
            Close();
            return;
        }
        OnRequest(*request);
    }

    void OnRequest(const XStreamRequest& request)
    {
        IDirectChannels& channels = m_pServer->m_Channels;
        const auto mode = static_cast<EMode>(request.m_iMode);
        if (mode == EMode::Playback) {
            Play(request.m_iRecord);
            return;
        }
        const bool live = mode == EMode::LiveMpeg4 || mode == EMode::LiveH264;
        const bool known = request.m_iChannel >= 0 && request.m_iChannel < channels.Count();
        if (!known || (!live && mode != EMode::Query)) {
            Refuse();
            return;
        }
        m_Counts.m_iChannel = request.m_iChannel;
        m_Counts.m_Codec = mode == EMode::LiveH264 ? ECodec::H264 : ECodec::Mpeg4;
        if (!live) ++m_pServer->m_Counts.m_ulQueries;
        Push({MakeDirectReply(EReply::Stream, channels.Width(request.m_iChannel),
                              channels.Height(request.m_iChannel)),
              nullptr, !live});
        if (!live || m_pServer == nullptr) return;
        m_bStreams = true;
        channels.Watch(m_Counts.m_iChannel, m_Counts.m_Codec, 1);
        channels.WantKey(m_Counts.m_iChannel, m_Counts.m_Codec);
    }

    void Refuse()
    {
        ++m_pServer->m_Counts.m_ulRefused;
        Push({MakeDirectReply(EReply::Refused, 0, 0), nullptr, true});
    }

    void Count(size_t ulBytes)
    {
        ++m_Counts.m_ulPictures;
        m_Counts.m_ulBytes += ulBytes;
    }

    // One picture after the other: the next is asked for when the client has taken all.
    void Play(int iRecord)
    {
        const std::string path = m_pServer->m_Setup.m_PathOfRecord(iRecord);
        if (path.empty()) {
            Refuse();
            return;
        }
        const auto with = [weak = weak_from_this()](auto act) {
            return [weak, act](auto&&... what) {
                const auto self = weak.lock();
                if (self && self->m_pServer != nullptr) act(*self, what...);
            };
        };
        m_pPlayback = std::make_shared<Playback>(
            m_Socket.get_executor(), m_pServer->m_Disk,
            Playback::Events{
                with([iRecord](CViewer& self, PictureSize size) {
                    self.m_Counts.m_iRecord = iRecord;
                    ++self.m_pServer->m_Counts.m_ulPlayed;
                    self.PushRecorded({MakeDirectReply(EReply::Stream, size.width, size.height), nullptr});
                }),
                with([](CViewer& self, const std::shared_ptr<const XCoded>& pCoded) {
                    self.Count(MEDIA_HEADER_BYTES + pCoded->m_Bytes.size());
                    self.PushPicture(pCoded);
                    self.PushRecorded({});
                }),
                with([](CViewer& self) {
                    if (self.m_Counts.m_iRecord >= 0)
                        self.Close();
                    else
                        self.Refuse();
                })});
        m_pPlayback->Open(path);
    }

    void PushRecorded(XItem item)
    {
        if (!item.m_Own.empty()) Queue(std::move(item));
        m_iTaken = Now();
        WatchForStall();
        Pump();
    }

    void WatchForStall()
    {
        m_Stall.expires_after(std::chrono::microseconds(m_pServer->m_Setup.m_iDropAfter));
        m_Stall.async_wait([self = shared_from_this()](asio::error_code error) {
            if (error || self->m_pServer == nullptr || self->m_Queue.empty()) return;
            if (Now() - self->m_iTaken >= self->m_pServer->m_Setup.m_iDropAfter)
                self->Close();
            else
                self->WatchForStall();
        });
    }

    // With the harm that was asked for.
    void PushPicture(const std::shared_ptr<const XCoded>& pCoded)
    {
        CDataServer& server = *m_pServer;
        const XDirectFaults& faults = server.m_Setup.m_Faults;
        const auto header = [](uint32_t ulType, size_t ulBytes) {
            const auto bytes = MakeMediaHeader(ulType, ulBytes);
            return Bytes(bytes.begin(), bytes.end());
        };
        if (server.Happens(faults.m_dNothing))
            Queue({header(static_cast<uint32_t>(EMedia::Nothing), 0), nullptr, false});
        uint32_t type = static_cast<uint32_t>(EMedia::Video);
        size_t length = pCoded->m_Bytes.size();
        if (server.Happens(faults.m_dWrongType)) {
            type = 2 + server.m_Random() % 1000;
            ++server.m_Counts.m_ulHarmed;
        }
        if (server.Happens(faults.m_dWrongLength)) {
            // Among them lengths that no buffer holds, and negative ones.
            length = server.m_Random() % 4 == 0 ? server.m_Random() : server.m_Random() % (2 * length + 1);
            ++server.m_Counts.m_ulHarmed;
        }
        if (server.Happens(faults.m_dClose)) {
            Bytes part = header(type, length);
            part.insert(part.end(), pCoded->m_Bytes.begin(),
                        pCoded->m_Bytes.begin() + static_cast<ptrdiff_t>(pCoded->m_Bytes.size() / 2));
            ++server.m_Counts.m_ulHarmed;
            Queue({std::move(part), nullptr, true});
            return;
        }
        Queue({header(type, length), pCoded, false});
    }

    void Push(XItem item)
    {
        Queue(std::move(item));
        Pump();
    }

    void Queue(XItem item)
    {
        if (m_Queue.empty()) m_iTaken = Now();
        m_ulQueued += SizeOf(item);
        m_Queue.push_back(std::move(item));
    }

    static size_t SizeOf(const XItem& item)
    {
        return item.m_Own.size() + (item.m_pCoded ? item.m_pCoded->m_Bytes.size() : 0);
    }

    void Pump()
    {
        if (m_bWriting || m_Queue.empty()) return;
        m_bWriting = true;
        if (m_pServer->m_Setup.m_Faults.m_iTrickleMs > 0)
            Trickle();
        else
            Write();
    }

    void Write()
    {
        const XItem& item = m_Queue.front();
        std::array<asio::const_buffer, 2> buffers = {asio::buffer(item.m_Own), asio::const_buffer()};
        if (item.m_pCoded) buffers[1] = asio::buffer(item.m_pCoded->m_Bytes);
        asio::async_write(m_Socket, buffers, [self = shared_from_this()](asio::error_code error, size_t) {
            self->OnWritten(error);
        });
    }

    // One byte, then a pause.
    void Trickle()
    {
        const XItem& item = m_Queue.front();
        const uint8_t& byte = m_ulTrickled < item.m_Own.size()
                                  ? item.m_Own[m_ulTrickled]
                                  : item.m_pCoded->m_Bytes[m_ulTrickled - item.m_Own.size()];
        asio::async_write(m_Socket, asio::buffer(&byte, 1),
                          [self = shared_from_this()](asio::error_code error, size_t) {
                              if (error || self->m_pServer == nullptr ||
                                  ++self->m_ulTrickled == SizeOf(self->m_Queue.front())) {
                                  self->m_ulTrickled = 0;
                                  self->OnWritten(error);
                                  return;
                              }
                              self->m_iTaken = Now();
                              self->m_Timer.expires_after(
                                  std::chrono::milliseconds(self->m_pServer->m_Setup.m_Faults.m_iTrickleMs));
                              self->m_Timer.async_wait([self](asio::error_code ended) {
                                  if (!ended && self->m_pServer != nullptr) self->Trickle();
                              });
                          });
    }

    void OnWritten(asio::error_code error)
    {
        m_bWriting = false;
        if (m_pServer == nullptr) return;
        if (error || m_Queue.front().m_bLast) {
            Close();
            return;
        }
        m_iTaken = Now();
        m_ulQueued -= SizeOf(m_Queue.front());
        m_Queue.pop_front();
        if (m_pPlayback && m_Queue.empty()) m_pPlayback->Continue();
        Pump();
    }

    CDataServer* m_pServer;  // null once closed
    asio::ip::tcp::socket m_Socket;
    asio::steady_timer m_Timer;  // for the request; then of a trickle
    asio::steady_timer m_Stall;  // of a client that is played to
    std::shared_ptr<Playback> m_pPlayback;
    CFrameReader m_Reader{STREAM_REQUEST_BYTES};
    std::array<uint8_t, 256> m_Buffer{};
    bool m_bAsked = false;
    bool m_bStreams = false;
    bool m_bWaitsForKey = true;
    bool m_bWriting = false;
    std::deque<XItem> m_Queue;  // the first is being written
    size_t m_ulQueued = 0;
    size_t m_ulTrickled = 0;  // of the first
    TimeUs m_iTaken = 0;      // when the client took something last
    XClientCounts m_Counts;
};

CDataServer::CDataServer(asio::io_context& context, const XSetup& setup, IDirectChannels& channels)
    : m_Setup(setup),
      m_Channels(channels),
      m_Random(setup.m_dwSeed),
      m_Listener(context, setup.m_At, [this](asio::ip::tcp::socket socket) { Accept(std::move(socket)); })
{
}

CDataServer::~CDataServer()
{
    m_Disk.stop();
    m_Disk.join();
    for (const auto& viewer : m_Viewers)
        viewer->Forget();
}

void CDataServer::Accept(asio::ip::tcp::socket socket)
{
    ++m_Counts.m_ulConnections;
    asio::error_code error;
    const auto remote = socket.remote_endpoint(error);
    if (error) return;
    const XEndpoint from{remote.address().to_v4().to_uint(), remote.port()};
    const auto neighbours = std::count_if(m_Viewers.begin(), m_Viewers.end(), [&](const auto& viewer) {
        return viewer->Counts().m_Endpoint.m_dwAddress == from.m_dwAddress;
    });
    if (m_Viewers.size() >= m_Setup.m_ulClients ||
        static_cast<size_t>(neighbours) >= m_Setup.m_ulClientsPerAddress) {
        ++m_Counts.m_ulTurnedAway;  // the socket's end closes it
        return;
    }
    const auto viewer = std::make_shared<CViewer>(*this, std::move(socket), from);
    m_Viewers.insert(viewer);
    viewer->Start();
}

void CDataServer::OnPicture(int iChannel, const std::shared_ptr<const XCoded>& pCoded)
{
    const TimeUs now = Now();
    // A viewer that is closed meanwhile leaves the set.
    std::vector<std::shared_ptr<CViewer>> watching;
    for (const auto& viewer : m_Viewers)
        if (viewer->Watches(iChannel, pCoded->m_Codec)) watching.push_back(viewer);
    for (const auto& viewer : watching)
        viewer->OnPicture(now, pCoded);
}

std::vector<CDataServer::XClientCounts> CDataServer::Clients() const
{
    std::vector<XClientCounts> all = m_Former;
    for (const auto& viewer : m_Viewers)
        if (viewer->Counts().m_iChannel >= 0 || viewer->Counts().m_iRecord >= 0)
            all.push_back(viewer->Counts());
    return all;
}

bool CDataServer::Happens(double dPercent)
{
    if (dPercent <= 0) return false;
    return std::uniform_real_distribution<double>(0, 100)(m_Random) < dPercent;
}

}  // namespace recorder
