#include "recorder/server/Server.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <utility>

#include "recorder/server/OutputFile.h"
#include "recorder/server/OwnAddresses.h"
#include "recorder/server/Report.h"

namespace recorder
{

namespace
{

// Pictures that may wait for the network thread, for each channel; a thread that is so late gets no more.
constexpr int MAX_POSTED = 4;

// What other hosts may try first: the address we serve on, or all of this machine's own.
std::vector<Endpoint> LocalAddresses(const Endpoint& at)
{
    if (at.address != 0) return {at};
    std::vector<Endpoint> all;
    for (const uint32_t address : OwnAddresses()) {
        all.push_back({address, at.port});
        if (all.size() == MAX_LOCAL_ADDRESSES) break;
    }
    if (all.empty()) all.push_back({0x7F000001, at.port});
    return all;
}

std::set<ECarries> FaultsOf(const Options& options)
{
    std::set<ECarries> carries;
    if (options.faultsOn.contains(EService::Rendezvous)) carries.insert(ECarries::Rendezvous);
    if (options.faultsOn.contains(EService::Device)) carries.insert(ECarries::Device);
    if (options.faultsOn.contains(EService::Video)) carries.insert(ECarries::Video);
    return carries;
}

// As nohup, and a shell for what it runs in the background, have it.
bool IsIgnored(int number)
{
    struct sigaction present {
    };
    return sigaction(number, nullptr, &present) == 0 && present.sa_handler == SIG_IGN;
}

}  // namespace

// The channels with their threads, as the link and the data port see them.
class Server::Channels : public IChannels, public IDirectChannels
{
  public:
    Channels(const Options& options, const Channel::Deliver& deliver) : m_Options(options)
    {
        ChannelSetup setup;
        setup.scene = options.scene;
        setup.stream.bitRate = options.bitRate;
        setup.stream.group = options.group;
        setup.stream.motion = options.motion;
        setup.stream.entropy = options.entropy;
        setup.stream.preset = options.preset;
        setup.stream.checksum = options.checksum;
        setup.channels = options.channels;
        setup.passThrough = options.passThrough;
        // A loop is made of whole groups, so that its last picture leads over to its first.
        const int pictures = options.loopSeconds * options.scene.rate;
        const int groups = std::max(1, (pictures + options.group - 1) / options.group);
        const int loop = options.loopSeconds == 0 ? 0 : groups * options.group;
        m_Watching.resize(static_cast<size_t>(options.channels));
        for (int channel = 0; channel < options.channels; ++channel) {
            const auto index = static_cast<size_t>(channel);
            setup.source = options.sources[index];
            setup.scene.width = options.sizes[index].width;
            setup.scene.height = options.sizes[index].height;
            m_Channels.push_back(std::make_unique<Channel>(setup, channel, loop, deliver));
        }
    }

    int Count() const override { return m_Options.channels; }
    int Width(int channel) const override { return m_Options.sizes[static_cast<size_t>(channel)].width; }
    int Height(int channel) const override { return m_Options.sizes[static_cast<size_t>(channel)].height; }
    void SetWatched(int channel, bool watched) override
    {
        m_Watching[static_cast<size_t>(channel)].link = watched;
        Tell(channel);
    }
    void WantKey(int channel) override { Of(channel).WantKey(); }
    void Watch(int channel, ECodec codec, int more) override
    {
        m_Watching[static_cast<size_t>(channel)].direct[static_cast<size_t>(codec)] += more;
        Tell(channel);
    }
    void WantKey(int channel, ECodec codec) override { Of(channel).WantKey(codec); }
    bool Do(const Command& command) const
    {
        if (command.channel < 0 || command.channel >= Count()) return false;
        Of(command.channel).Do(command);
        return true;
    }

    Channel& Of(int channel) const { return *m_Channels[static_cast<size_t>(channel)]; }
    const std::vector<std::unique_ptr<Channel>>& All() const { return m_Channels; }

    void Stop()
    {
        for (const auto& channel : m_Channels)
            channel->Stop();
    }
    // Waits for their threads.
    void Clear() { m_Channels.clear(); }

  private:
    // Who looks at a channel.
    struct Watching {
        bool link = false;
        std::array<int, CODECS> direct{};
    };

    // Records are MPEG-4, so a channel that keeps them codes it always.
    void Tell(int channel)
    {
        const Watching& watching = m_Watching[static_cast<size_t>(channel)];
        const bool h264 = watching.direct[static_cast<size_t>(ECodec::H264)] > 0;
        const bool mpeg4 = watching.link || watching.direct[static_cast<size_t>(ECodec::Mpeg4)] > 0;
        Of(channel).SetWatched(h264, ECodec::H264);
        Of(channel).SetWatched(mpeg4 || (h264 && !m_Options.store.empty()), ECodec::Mpeg4);
    }

    const Options& m_Options;
    std::vector<std::unique_ptr<Channel>> m_Channels;
    std::vector<Watching> m_Watching;
};

Server::Server(Options options)
    : m_Options(std::move(options)), m_Timer(m_Context), m_Limit(m_Context), m_Signals(m_Context)
{
    const auto silent = [this](EService service) { return m_Options.silent.contains(service); };
    const auto faultsOn = FaultsOf(m_Options);
    m_Directory = std::make_unique<DirectoryServer>(
        m_Context, Endpoint{m_Options.listen, m_Options.directoryPort},
        Directory(std::to_string(m_Options.netId), m_Options.channels, m_Options.aliases),
        silent(EService::Directory));
    m_DirectoryAt = m_Directory->Local();

    m_RendezvousTransport = std::make_unique<UdpTransport>(
        m_Context, Endpoint{m_Options.listen, m_Options.rendezvousPort}, m_Options.faults, m_Options.seed,
        faultsOn, [this, silent](const Endpoint& from, std::span<const uint8_t> datagram) {
            if (silent(EService::Rendezvous)) return;
            m_Rendezvous->OnDatagram(Now(), from, datagram);
            Tick();
        });
    m_RendezvousAt = m_RendezvousTransport->Local();
    m_Rendezvous = std::make_unique<Rendezvous>(*m_RendezvousTransport);

    m_DeviceTransport = std::make_unique<UdpTransport>(
        m_Context, Endpoint{m_Options.listen, m_Options.devicePort}, m_Options.faults, m_Options.seed + 1,
        faultsOn, [this, silent](const Endpoint& from, std::span<const uint8_t> datagram) {
            // A silent device stays registered: only peers get no answer.
            if (silent(EService::Device) && from != m_RendezvousAt) return;
            m_Device->OnDatagram(Now(), from, datagram);
            Tick();
        });
    m_DeviceAt = m_DeviceTransport->Local();

    OpenStore();
    m_Channels = std::make_unique<Channels>(
        m_Options, [this, posted = std::make_shared<std::atomic<int>>(0)](int channel, auto coded) {
            if (m_Store) m_Store->Keep(channel, coded);
            if (*posted >= MAX_POSTED * m_Options.channels) {
                m_Channels->WantKey(channel, coded->codec);
                return false;
            }
            ++*posted;
            asio::post(m_Context, [this, posted, channel, coded] {
                --*posted;
                OnPicture(channel, coded);
            });
            return true;
        });

    DeviceLink::Setup setup;
    setup.name = std::to_string(m_Options.netId);
    setup.localAddresses = LocalAddresses(m_DeviceAt);
    // A device that is served on all addresses reaches its own rendezvous on the loopback one.
    setup.rendezvous = m_RendezvousAt;
    if (setup.rendezvous.address == 0) setup.rendezvous.address = 0x7F000001;
    m_RendezvousAt = setup.rendezvous;
    m_Rendezvous->Reserve(
        setup.name, m_DeviceAt.address != 0 ? m_DeviceAt : Endpoint{setup.rendezvous.address, m_DeviceAt.port});
    setup.clients = m_Options.clients;
    setup.clientsPerAddress = m_Options.clientsPerAddress;
    setup.dropAfter = static_cast<TimeUs>(m_Options.dropAfterSeconds * SECOND);
    m_Device = std::make_unique<DeviceLink>(std::move(setup), *m_Channels, *m_DeviceTransport);

    m_Control =
        std::make_unique<ControlServer>(m_Context, Endpoint{m_Options.listen, m_Options.controlPort},
                                        [this](const Command& command) { return m_Channels->Do(command); });
    DataServer::Setup data;
    data.at = {m_Options.listen, m_Options.dataPort};
    data.clients = m_Options.clients;
    data.clientsPerAddress = m_Options.clientsPerAddress;
    data.dropAfter = static_cast<TimeUs>(m_Options.dropAfterSeconds * SECOND);
    data.faults = m_Options.directFaults;
    data.seed = m_Options.seed + 2;
    if (m_Store) data.pathOfRecord = [this](int id) { return m_Store->PathOf(id); };
    m_Data = std::make_unique<DataServer>(m_Context, data, *m_Channels);
}

Server::~Server()
{
    // All are stopped before the first is waited for; those that make loops need the channels to their end.
    m_Channels->Stop();
    for (std::thread& thread : m_Preparing)
        thread.join();
    m_Channels->Clear();
}

void Server::OpenStore()
{
    if (m_Options.store.empty()) return;
    StoreSetup setup;
    setup.folder = m_Options.store;
    setup.maxBytes = m_Options.storeBytes;
    for (const auto& size : m_Options.sizes)
        setup.sizes.push_back({size.width, size.height});
    setup.clock = [] { return std::chrono::local_seconds(std::chrono::seconds(WallClockNow() / 100)); };
    m_Store = std::make_unique<Store>(std::move(setup));
}

void Server::Run(ESignals signals, const std::function<void(const Server&)>& ready)
{
    m_Ready = ready;
    m_Started = Now();
    if (m_Store) m_Store->Shrink();  // not earlier: a run that can't begin costs no record
    if (signals == ESignals::Heed) {
        for (const int number : {SIGINT, SIGTERM, SIGHUP})
            if (!IsIgnored(number)) m_Signals.add(number);
        m_Signals.async_wait([this](asio::error_code error, int) {
            if (!error) End();
        });
    }
    if (m_Options.seconds > 0) {
        m_Limit.expires_after(std::chrono::microseconds(static_cast<int64_t>(m_Options.seconds * SECOND)));
        m_Limit.async_wait([this](asio::error_code error) {
            if (!error) End();
        });
    }
    m_Directory->Start();
    m_RendezvousTransport->Start();
    m_DeviceTransport->Start();
    m_Control->Start();
    m_Data->Start();
    StartChannels();
    Tick();
    m_Context.run();
    if (!m_Store) return;
    m_Channels->Stop();
    m_Store->Finish();  // the report counts every picture that is kept
}

void Server::Stop()
{
    asio::post(m_Context, [this] { End(); });
}

// Loops are made by a thread for each processor, or each channel where these are fewer, while the services
// answer already.
void Server::StartChannels()
{
    const auto start = [this] {
        const auto now = Channel::Clock::now();
        const auto& all = m_Channels->All();
        for (size_t i = 0; i < all.size();
             ++i)  // spread over the interval, so that their pictures don't come together
            all[i]->Start(now +
                          std::chrono::nanoseconds(1'000'000'000LL * static_cast<int64_t>(i) /
                                                   static_cast<int64_t>(all.size()) / m_Options.scene.rate));
        m_ChannelsReady = true;
        SayReady();
    };
    if (m_Options.loopSeconds == 0 || m_Channels->All().empty()) {
        start();
        return;
    }
    const size_t threads =
        std::min<size_t>(m_Channels->All().size(), std::max(1U, std::thread::hardware_concurrency()));
    auto next = std::make_shared<std::atomic<size_t>>(0);
    auto left = std::make_shared<std::atomic<size_t>>(threads);
    for (size_t i = 0; i < threads; ++i)
        m_Preparing.emplace_back([this, next, left, start] {
            try {
                for (size_t channel = (*next)++; channel < m_Channels->All().size(); channel = (*next)++)
                    m_Channels->All()[channel]->Prepare();
            } catch (const std::exception& e) {
                std::fprintf(stderr, "watchwall-recorder: %s\n", e.what());
            }
            if (--*left == 0) asio::post(m_Context, start);
        });
}

void Server::OnPicture(int channel, const std::shared_ptr<const Coded>& coded)
{
    m_Data->OnPicture(channel, coded);
    if (coded->codec != ECodec::Mpeg4) return;
    Bytes message = MakeVideoMessage(channel, coded->bytes);
    WriteU32(message.data(), m_DeviceTransport->GetFaults().SpoilHeader(ReadU32(message.data())));
    m_Device->OnMessage(Now(), channel, coded->key, std::make_shared<const Bytes>(std::move(message)));
    Tick();
}

void Server::Tick()
{
    const TimeUs now = Now();
    const TimeUs due = std::min(m_Rendezvous->OnTimer(now), m_Device->OnTimer(now));
    SayReady();
    WakeAt(due);
}

void Server::WakeAt(TimeUs due)
{
    if (due == NEVER) return;
    m_Timer.expires_at(std::chrono::steady_clock::time_point(std::chrono::microseconds(due)));
    m_Timer.async_wait([this](asio::error_code error) {
        if (!error) Tick();
    });
}

void Server::SayReady()
{
    if (!m_Ready || !m_ChannelsReady) return;
    if (!m_Device->Registered() && !m_Options.silent.contains(EService::Rendezvous)) return;
    std::exchange(m_Ready, nullptr)(*this);
}

// The report tells what left: the handlers that wait already count what was written until now, and datagrams
// that they send go out too.
void Server::End()
{
    m_Data->End();
    asio::post(m_Context, [this] {
        m_RendezvousTransport->Flush();
        m_DeviceTransport->Flush();
        m_Context.stop();
    });
}

std::string Server::ReadyLine() const
{
    std::string clock = ClockText(m_Options.scene, 0);
    std::replace(clock.begin(), clock.end(), ' ', 'T');
    return "ready id=" + std::to_string(m_Options.netId) + " directory=" + EndpointText(m_DirectoryAt) +
           " rendezvous=" + EndpointText(m_RendezvousAt) + " device=" + EndpointText(m_DeviceAt) +
           " control=" + EndpointText(ControlAt()) + " data=" + EndpointText(DataAt()) +
           " channels=" + std::to_string(m_Options.channels) +
           " size=" + std::to_string(m_Options.scene.width) + "x" + std::to_string(m_Options.scene.height) +
           " fps=" + std::to_string(m_Options.scene.rate) + " clock=" + clock;
}

nlohmann::json Server::Report() const
{
    std::vector<CodecCounts> channels;
    for (const auto& channel : m_Channels->All())
        channels.push_back({channel->Counts(ECodec::Mpeg4), channel->Counts(ECodec::H264), channel->Passing()});
    return MakeReport({m_Options, m_Store.get(), static_cast<double>(Now() - m_Started) / SECOND, channels,
                       *m_Directory, *m_Rendezvous, *m_Device, *m_Control, *m_Data, *m_RendezvousTransport,
                       *m_DeviceTransport});
}

namespace
{

// "42  channel 3  2026-11-22 06:55:00  1048576 bytes", a line each, oldest first.
void SayRecords(const std::string& folder)
{
    for (const StoredRecord& record : ListRecords(folder))
        std::cout << record.name.id << "  channel " << record.name.channel + 1 << "  "
                  << TimeText(record.name.start) << "  " << record.bytes << " bytes\n";
    if (!std::cout.flush()) throw std::runtime_error("can't write the list of records");
}

}  // namespace

int RunRecorder(const Options& options)
{
    try {
        if (options.listRecords) {
            SayRecords(options.store);
            return 0;
        }
        Server server(options);  // which makes the store's folder, where the files may lie
        for (const std::string& path : {options.report, options.readyFile})
            if (!path.empty()) CheckCanWrite(path);
        server.Run(Server::ESignals::Heed, [](const Server& ready) {
            const std::string line = ready.ReadyLine() + "\n";
            std::cout << line << std::flush;
            if (!ready.GetOptions().readyFile.empty()) WriteWhole(ready.GetOptions().readyFile, line);
        });
        if (!options.report.empty()) WriteWhole(options.report, ReportText(server.Report()));
        return 0;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "watchwall-recorder: %s\n", e.what());
        return 1;
    }
}

}  // namespace recorder
