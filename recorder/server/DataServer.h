#pragma once

#include <functional>
#include <map>
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

/// What the data port asks of whatever makes the pictures. Called from inside the server's own operations.
class IDirectChannels
{
  public:
    virtual ~IDirectChannels() = default;
    virtual int Count() const = 0;
    virtual int Width(int channel) const = 0;
    virtual int Height(int channel) const = 0;
    /// How many look at the channel in this codec, one more or one less.
    virtual void Watch(int channel, ECodec codec, int more) = 0;
    virtual void WantKey(int channel, ECodec codec) = 0;
};

/// How bad the data port is made. Rates are percentages of media frames.
struct DirectFaults {
    double wrongType = 0;
    double wrongLength = 0;
    double nothing = 0;  // frames without media, in front of others
    double close = 0;    // in mid-frame
    int trickleMs = 0;   // between single bytes; 0 sends all at once
};

/// The data port: a connection brings one stream request, and gets a reply and pictures until it closes, or
/// until the record ends that it asked for. What waits for a slow client is bounded; beyond it pictures are
/// left out up to the next key picture. Everything happens on the thread that runs the context.
class DataServer
{
  public:
    static constexpr TimeUs TIME_LIMIT = 5 * SECOND;  // with the request
    struct Setup {
        Endpoint at;
        size_t clients = 64;
        size_t clientsPerAddress = 16;
        TimeUs dropAfter = 10 * SECOND;  // a client that takes nothing for so long
        size_t maxQueuedBytes = 4 << 20;
        DirectFaults faults;
        uint32_t seed = 1;
        /// Where a record lies; empty when there is none of this id.
        std::function<std::string(int)> pathOfRecord = [](int) { return std::string(); };
    };
    struct Counters {
        uint64_t connections = 0;
        uint64_t turnedAway = 0;  // no room
        uint64_t refused = 0;     // no request, no such channel, no such record, no such mode
        uint64_t queries = 0;
        uint64_t played = 0;  // records
        uint64_t timeouts = 0;
        uint64_t harmed = 0;  // frames
    };
    struct ClientCounts {
        Endpoint endpoint;
        int channel = -1;  // -1 of a record too
        int record = -1;
        ECodec codec = ECodec::Mpeg4;
        uint64_t pictures = 0;  // that the client's connection has taken whole
        uint64_t bytes = 0;     // of these
        uint64_t dropped = 0;   // left out because the client was too far behind
    };
    struct Sent {
        uint64_t pictures = 0;
        uint64_t bytes = 0;
        uint64_t dropped = 0;

        void Add(const ClientCounts& client);
    };
    static constexpr size_t MAX_FORMER_CLIENTS = 256;  // kept for the report

    /// Throws asio::system_error when the port is taken.
    DataServer(asio::io_context& context, const Setup& setup, IDirectChannels& channels);
    ~DataServer();
    DataServer(const DataServer&) = delete;
    DataServer& operator=(const DataServer&) = delete;

    void Start() { m_Listener.Start(); }
    Endpoint Local() const { return m_Listener.Local(); }
    void OnPicture(int channel, const std::shared_ptr<const Coded>& coded);
    /// No connection takes anything more: what was taken whole is told by handlers that wait already.
    void End();

    const Counters& Counts() const { return m_Counts; }
    /// Present ones and the latest of those that left.
    std::vector<ClientCounts> Clients() const;
    /// What all got, those too that Clients doesn't tell any more: by channel, and of records at -1.
    std::map<int, Sent> AllSent() const;

  private:
    class Viewer;
    void Accept(asio::ip::tcp::socket socket);
    void Remember(const ClientCounts& client);
    bool Happens(double percent);

    Setup m_Setup;
    IDirectChannels& m_Channels;
    std::mt19937 m_Random;
    Counters m_Counts;
    std::vector<ClientCounts> m_Former;
    std::map<int, Sent> m_Earlier;  // by those that left before these
    std::set<std::shared_ptr<Viewer>> m_Viewers;
    TcpListener m_Listener;
    asio::thread_pool m_Disk{1};  // reads the records that are played
};

}  // namespace recorder
