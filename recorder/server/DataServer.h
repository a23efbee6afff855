#pragma once

#include <functional>
#include <memory>
#include <random>
#include <set>
#include <vector>

#include "recorder/media/Coded.h"
#include "recorder/protocol/Faults.h"
#include "recorder/protocol/Frames.h"
#include "recorder/server/TcpListener.h"

namespace recorder
{

// What the data port asks of whatever makes the pictures. Called from inside the server's own operations.
class IDirectChannels
{
  public:
    virtual ~IDirectChannels() = default;
    virtual int Count() const = 0;
    virtual int Width(int iChannel) const = 0;
    virtual int Height(int iChannel) const = 0;
    // How many look at the channel in this codec, one more or one less.
    virtual void Watch(int iChannel, ECodec codec, int iMore) = 0;
    virtual void WantKey(int iChannel, ECodec codec) = 0;
};

// How bad the data port is made. Rates are percentages of media frames.
struct XDirectFaults {
    double m_dWrongType = 0;
    double m_dWrongLength = 0;
    double m_dNothing = 0;  // frames without media, in front of others
    double m_dClose = 0;    // in mid-frame
    int m_iTrickleMs = 0;   // between single bytes; 0 sends all at once
};

// The data port: a connection brings one stream request, and gets a reply and pictures until it closes, or
// until the record ends that it asked for. What waits for a slow client is bounded; beyond it pictures are left
// out up to the next key picture. Everything happens on the thread that runs the context.
class CDataServer
{
  public:
    static constexpr TimeUs PATIENCE = 5 * SECOND;  // with the request
    struct XSetup {
        XEndpoint m_At;
        size_t m_ulClients = 64;
        size_t m_ulClientsPerAddress = 16;
        TimeUs m_iDropAfter = 10 * SECOND;  // a client that takes nothing for so long
        size_t m_ulMaxQueuedBytes = 4 << 20;
        XDirectFaults m_Faults;
        uint32_t m_dwSeed = 1;
        // Where a record lies; empty when there is none of this id.
        std::function<std::string(int)> m_PathOfRecord = [](int) { return std::string(); };
    };
    struct XCounts {
        uint64_t m_ulConnections = 0;
        uint64_t m_ulTurnedAway = 0;  // no room
        uint64_t m_ulRefused = 0;     // no request, no such channel, no such record, no such mode
        uint64_t m_ulQueries = 0;
        uint64_t m_ulPlayed = 0;  // records
        uint64_t m_ulTimeouts = 0;
        uint64_t m_ulHarmed = 0;  // frames
    };
    struct XClientCounts {
        XEndpoint m_Endpoint;
        int m_iChannel = -1;  // -1 of a record too
        int m_iRecord = -1;
        ECodec m_Codec = ECodec::Mpeg4;
        uint64_t m_ulPictures = 0;
        uint64_t m_ulBytes = 0;
        uint64_t m_ulDropped = 0;
    };
    static constexpr size_t MAX_FORMER_CLIENTS = 256;  // kept for the report

    // Throws asio::system_error when the port is taken.
    CDataServer(asio::io_context& context, const XSetup& setup, IDirectChannels& channels);
    ~CDataServer();
    CDataServer(const CDataServer&) = delete;
    CDataServer& operator=(const CDataServer&) = delete;

    void Start() { m_Listener.Start(); }
    XEndpoint Local() const { return m_Listener.Local(); }
    void OnPicture(int iChannel, const std::shared_ptr<const XCoded>& pCoded);

    const XCounts& Counts() const { return m_Counts; }
    // Present ones and the latest of those that left.
    std::vector<XClientCounts> Clients() const;

  private:
    class CViewer;
    void Accept(asio::ip::tcp::socket socket);
    bool Happens(double dPercent);

    XSetup m_Setup;
    IDirectChannels& m_Channels;
    std::mt19937 m_Random;
    XCounts m_Counts;
    std::vector<XClientCounts> m_Former;
    std::set<std::shared_ptr<CViewer>> m_Viewers;
    CTcpListener m_Listener;
    asio::thread_pool m_Disk{1};  // reads the records that are played
};

}  // namespace recorder
