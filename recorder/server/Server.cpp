#include "recorder/server/Server.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <utility>

#include "recorder/server/Report.h"

namespace recorder
{

namespace
{

// Pictures that may wait for the network thread, for each channel; a thread that is so late gets no more.
constexpr int MAX_POSTED = 4;

// What other hosts may try first: the address we serve on, or all of this machine's own.
std::vector<XEndpoint> LocalAddresses(asio::io_context& context, const XEndpoint& at)
{
    if (at.m_dwAddress != 0) return {at};
    std::vector<XEndpoint> all;
    asio::error_code error;
    asio::ip::udp::resolver resolver(context);
    for (const auto& entry : resolver.resolve(asio::ip::udp::v4(), asio::ip::host_name(error), "", error)) {
        all.push_back({entry.endpoint().address().to_v4().to_uint(), at.m_usPort});
        if (all.size() == MAX_LOCAL_ADDRESSES) break;
    }
    if (all.empty()) all.push_back({0x7F000001, at.m_usPort});
    return all;
}

std::set<ECarries> FaultsOf(const XOptions& options)
{
    std::set<ECarries> carries;
    if (options.m_FaultsOn.contains(EService::Rendezvous)) carries.insert(ECarries::Rendezvous);
    if (options.m_FaultsOn.contains(EService::Device)) carries.insert(ECarries::Device);
    if (options.m_FaultsOn.contains(EService::Video)) carries.insert(ECarries::Video);
    return carries;
}

// Through a name beside it, so that nobody reads half of it.
void WriteWhole(const std::string& path, const std::string& text)
{
    const std::string beside = path + ".new";
    std::ofstream out(beside, std::ios::binary | std::ios::trunc);
    out << text;
    out.close();
    std::error_code error;
    if (out) std::filesystem::rename(beside, path, error);
    if (!out || error) throw std::runtime_error("can't write " + path);
}

}  // namespace

// The channels with their threads, as the link and the data port see them.
class CServer::CChannels : public IChannels, public IDirectChannels
{
  public:
    CChannels(const XOptions& options, const CChannel::Deliver& deliver) : m_Options(options)
    {
        XChannelSetup setup;
        setup.m_Scene = options.m_Scene;
        setup.m_Stream.m_iBitRate = options.m_iBitRate;
        setup.m_Stream.m_iGroup = options.m_iGroup;
        setup.m_Stream.m_Motion = options.m_Motion;
        setup.m_Stream.m_Entropy = options.m_Entropy;
        setup.m_Stream.m_strPreset = options.m_strPreset;
        setup.m_Stream.m_Checksum = options.m_Checksum;
        setup.m_iChannels = options.m_iChannels;
        setup.m_bPass = options.m_bPass;
        // A loop is made of whole groups, so that its last picture leads over to its first.
        const int pictures = options.m_iLoopSeconds * options.m_Scene.m_iRate;
        const int groups = std::max(1, (pictures + options.m_iGroup - 1) / options.m_iGroup);
        const int loop = options.m_iLoopSeconds == 0 ? 0 : groups * options.m_iGroup;
        m_Watching.resize(static_cast<size_t>(options.m_iChannels));
        for (int channel = 0; channel < options.m_iChannels; ++channel) {
            const auto index = static_cast<size_t>(channel);
            setup.m_strSource = options.m_Sources[index];
            setup.m_Scene.m_iWidth = options.m_Sizes[index].m_iWidth;
            setup.m_Scene.m_iHeight = options.m_Sizes[index].m_iHeight;
            m_Channels.push_back(std::make_unique<CChannel>(setup, channel, loop, deliver));
        }
    }

    int Count() const override { return m_Options.m_iChannels; }
    int Width(int iChannel) const override { return m_Options.m_Sizes[static_cast<size_t>(iChannel)].m_iWidth; }
    int Height(int iChannel) const override
    {
        return m_Options.m_Sizes[static_cast<size_t>(iChannel)].m_iHeight;
    }
    void SetWatched(int iChannel, bool bWatched) override
    {
        m_Watching[static_cast<size_t>(iChannel)].m_bLink = bWatched;
        Tell(iChannel);
    }
    void WantKey(int iChannel) override { Of(iChannel).WantKey(); }
    void Watch(int iChannel, ECodec codec, int iMore) override
    {
        m_Watching[static_cast<size_t>(iChannel)].m_Direct[static_cast<size_t>(codec)] += iMore;
        Tell(iChannel);
    }
    void WantKey(int iChannel, ECodec codec) override { Of(iChannel).WantKey(codec); }
    bool Do(const XCommand& command) const
    {
        if (command.m_iChannel < 0 || command.m_iChannel >= Count()) return false;
        Of(command.m_iChannel).Do(command);
        return true;
    }

    CChannel& Of(int iChannel) const { return *m_Channels[static_cast<size_t>(iChannel)]; }
    const std::vector<std::unique_ptr<CChannel>>& All() const { return m_Channels; }

    // Stops all before the first is waited for.
    void End()
    {
        for (const auto& channel : m_Channels)
            channel->Stop();
        m_Channels.clear();
    }

  private:
    // Who looks at a channel.
    struct XWatching {
        bool m_bLink = false;
        std::array<int, CODECS> m_Direct{};
    };

    // Records are MPEG-4, so a channel that keeps them codes it whoever looks.
    void Tell(int iChannel)
    {
        const XWatching& watching = m_Watching[static_cast<size_t>(iChannel)];
        const bool h264 = watching.m_Direct[static_cast<size_t>(ECodec::H264)] > 0;
        const bool mpeg4 = watching.m_bLink || watching.m_Direct[static_cast<size_t>(ECodec::Mpeg4)] > 0;
        Of(iChannel).SetWatched(h264, ECodec::H264);
        Of(iChannel).SetWatched(mpeg4 || (h264 && !m_Options.m_strStore.empty()), ECodec::Mpeg4);
    }

    const XOptions& m_Options;
    std::vector<std::unique_ptr<CChannel>> m_Channels;
    std::vector<XWatching> m_Watching;
};

CServer::CServer(XOptions options)
    : m_Options(std::move(options)), m_Timer(m_Context), m_Limit(m_Context), m_Signals(m_Context)
{
    const auto silent = [this](EService service) { return m_Options.m_Silent.contains(service); };
    const auto faultsOn = FaultsOf(m_Options);
    m_pDirectory = std::make_unique<CDirectoryServer>(
        m_Context, XEndpoint{m_Options.m_dwListen, m_Options.m_usDirectoryPort},
        CDirectory(std::to_string(m_Options.m_iNetId), m_Options.m_iChannels, m_Options.m_Aliases),
        silent(EService::Directory));
    m_DirectoryAt = m_pDirectory->Local();

    m_pRendezvousRoad = std::make_unique<CUdpRoad>(
        m_Context, XEndpoint{m_Options.m_dwListen, m_Options.m_usRendezvousPort}, m_Options.m_Faults,
        m_Options.m_dwSeed, faultsOn, [this, silent](const XEndpoint& from, std::span<const uint8_t> datagram) {
            if (silent(EService::Rendezvous)) return;
            m_pRendezvous->OnDatagram(Now(), from, datagram);
            Tick();
        });
    m_RendezvousAt = m_pRendezvousRoad->Local();
    m_pRendezvous = std::make_unique<CRendezvous>(*m_pRendezvousRoad);

    m_pDeviceRoad =
        std::make_unique<CUdpRoad>(m_Context, XEndpoint{m_Options.m_dwListen, m_Options.m_usDevicePort},
                                   m_Options.m_Faults, m_Options.m_dwSeed + 1, faultsOn,
                                   [this, silent](const XEndpoint& from, std::span<const uint8_t> datagram) {
                                       // A silent device stays registered: only peers get no answer.
                                       if (silent(EService::Device) && from != m_RendezvousAt) return;
                                       m_pDevice->OnDatagram(Now(), from, datagram);
                                       Tick();
                                   });
    m_DeviceAt = m_pDeviceRoad->Local();

    OpenStore();
    m_pChannels = std::make_unique<CChannels>(
        m_Options, [this, posted = std::make_shared<std::atomic<int>>(0)](int channel, auto coded) {
            if (m_pStore) m_pStore->Keep(channel, coded);
            if (*posted >= MAX_POSTED * m_Options.m_iChannels) {
                m_pChannels->WantKey(channel, coded->m_Codec);
                return false;
            }
            ++*posted;
            asio::post(m_Context, [this, posted, channel, coded] {
                --*posted;
                OnPicture(channel, coded);
            });
            return true;
        });

    CDeviceLink::XSetup setup;
    setup.m_strName = std::to_string(m_Options.m_iNetId);
    setup.m_LocalAddresses = LocalAddresses(m_Context, m_DeviceAt);
    // A device that is served on all addresses reaches its own rendezvous on the loopback one.
    setup.m_Rendezvous = m_RendezvousAt;
    if (setup.m_Rendezvous.m_dwAddress == 0) setup.m_Rendezvous.m_dwAddress = 0x7F000001;
    m_RendezvousAt = setup.m_Rendezvous;
    m_pRendezvous->Reserve(setup.m_strName,
                           m_DeviceAt.m_dwAddress != 0
                               ? m_DeviceAt
                               : XEndpoint{setup.m_Rendezvous.m_dwAddress, m_DeviceAt.m_usPort});
    setup.m_ulClients = m_Options.m_ulClients;
    setup.m_ulClientsPerAddress = m_Options.m_ulClientsPerAddress;
    setup.m_iDropAfter = static_cast<TimeUs>(m_Options.m_dDropAfterSeconds * SECOND);
    m_pDevice = std::make_unique<CDeviceLink>(std::move(setup), *m_pChannels, *m_pDeviceRoad);

    m_pControl =
        std::make_unique<CControlServer>(m_Context, XEndpoint{m_Options.m_dwListen, m_Options.m_usControlPort},
                                         [this](const XCommand& command) { return m_pChannels->Do(command); });
    CDataServer::XSetup data;
    data.m_At = {m_Options.m_dwListen, m_Options.m_usDataPort};
    data.m_ulClients = m_Options.m_ulClients;
    data.m_ulClientsPerAddress = m_Options.m_ulClientsPerAddress;
    data.m_iDropAfter = static_cast<TimeUs>(m_Options.m_dDropAfterSeconds * SECOND);
    data.m_Faults = m_Options.m_DirectFaults;
    data.m_dwSeed = m_Options.m_dwSeed + 2;
    if (m_pStore) data.m_PathOfRecord = [this](int id) { return m_pStore->PathOf(id); };
    m_pData = std::make_unique<CDataServer>(m_Context, data, *m_pChannels);
}

CServer::~CServer()
{
    m_pChannels->End();
    for (std::thread& thread : m_Preparing)
        thread.join();
}

void CServer::OpenStore()
{
    if (m_Options.m_strStore.empty()) return;
    StoreSetup setup;
    setup.folder = m_Options.m_strStore;
    setup.maxBytes = m_Options.m_iStoreBytes;
    for (const auto& size : m_Options.m_Sizes)
        setup.sizes.push_back({size.m_iWidth, size.m_iHeight});
    setup.clock = [] { return std::chrono::local_seconds(std::chrono::seconds(WallClockNow() / 100)); };
    m_pStore = std::make_unique<Store>(std::move(setup));
}

void CServer::Run(ESignals signals, const std::function<void(const CServer&)>& ready)
{
    m_Ready = ready;
    m_iStarted = Now();
    if (signals == ESignals::Heed) {
        m_Signals.add(SIGINT);
        m_Signals.add(SIGTERM);
        m_Signals.async_wait([this](asio::error_code error, int) {
            if (!error) End();
        });
    }
    if (m_Options.m_dSeconds > 0) {
        m_Limit.expires_after(std::chrono::microseconds(static_cast<int64_t>(m_Options.m_dSeconds * SECOND)));
        m_Limit.async_wait([this](asio::error_code error) {
            if (!error) End();
        });
    }
    m_pDirectory->Start();
    m_pRendezvousRoad->Start();
    m_pDeviceRoad->Start();
    m_pControl->Start();
    m_pData->Start();
    StartChannels();
    Tick();
    m_Context.run();
}

void CServer::Stop()
{
    asio::post(m_Context, [this] { End(); });
}

// Loops are made by as many threads as there are processors, while the services answer already.
void CServer::StartChannels()
{
    const auto start = [this] {
        const auto now = CChannel::Clock::now();
        const auto& all = m_pChannels->All();
        for (size_t i = 0; i < all.size();
             ++i)  // spread over the interval, so that their pictures don't come together
            all[i]->Start(now + std::chrono::nanoseconds(1'000'000'000LL * static_cast<int64_t>(i) /
                                                         static_cast<int64_t>(all.size()) /
                                                         m_Options.m_Scene.m_iRate));
        m_bChannelsReady = true;
        SayReady();
    };
    if (m_Options.m_iLoopSeconds == 0 || m_pChannels->All().empty()) {
        start();
        return;
    }
    const size_t threads =
        std::min<size_t>(m_pChannels->All().size(), std::max(1U, std::thread::hardware_concurrency()));
    auto next = std::make_shared<std::atomic<size_t>>(0);
    auto left = std::make_shared<std::atomic<size_t>>(threads);
    for (size_t i = 0; i < threads; ++i)
        m_Preparing.emplace_back([this, next, left, start] {
            try {
                for (size_t channel = (*next)++; channel < m_pChannels->All().size(); channel = (*next)++)
                    m_pChannels->All()[channel]->Prepare();
            } catch (const std::exception& e) {
                std::fprintf(stderr, "watchwall-recorder: %s\n", e.what());
            }
            if (--*left == 0) asio::post(m_Context, start);
        });
}

void CServer::OnPicture(int iChannel, const std::shared_ptr<const XCoded>& pCoded)
{
    m_pData->OnPicture(iChannel, pCoded);
    if (pCoded->m_Codec != ECodec::Mpeg4) return;
    Bytes message = MakeVideoMessage(iChannel, pCoded->m_Bytes);
    WriteU32(message.data(), m_pDeviceRoad->Faults().SpoilHeader(ReadU32(message.data())));
    m_pDevice->OnMessage(Now(), iChannel, pCoded->m_bKey, std::make_shared<const Bytes>(std::move(message)));
    Tick();
}

void CServer::Tick()
{
    const TimeUs now = Now();
    const TimeUs due = std::min(m_pRendezvous->OnTimer(now), m_pDevice->OnTimer(now));
    SayReady();
    WakeAt(due);
}

void CServer::WakeAt(TimeUs iDue)
{
    if (iDue == NEVER) return;
    m_Timer.expires_at(std::chrono::steady_clock::time_point(std::chrono::microseconds(iDue)));
    m_Timer.async_wait([this](asio::error_code error) {
        if (!error) Tick();
    });
}

void CServer::SayReady()
{
    if (!m_Ready || !m_bChannelsReady) return;
    if (!m_pDevice->Registered() && !m_Options.m_Silent.contains(EService::Rendezvous)) return;
    std::exchange(m_Ready, nullptr)(*this);
}

void CServer::End()
{
    m_pRendezvousRoad->Flush();
    m_pDeviceRoad->Flush();
    m_Context.stop();
}

std::string CServer::ReadyLine() const
{
    std::string clock = ClockText(m_Options.m_Scene, 0);
    std::replace(clock.begin(), clock.end(), ' ', 'T');
    return "ready id=" + std::to_string(m_Options.m_iNetId) + " directory=" + EndpointText(m_DirectoryAt) +
           " rendezvous=" + EndpointText(m_RendezvousAt) + " device=" + EndpointText(m_DeviceAt) +
           " control=" + EndpointText(ControlAt()) + " data=" + EndpointText(DataAt()) +
           " channels=" + std::to_string(m_Options.m_iChannels) +
           " size=" + std::to_string(m_Options.m_Scene.m_iWidth) + "x" +
           std::to_string(m_Options.m_Scene.m_iHeight) + " fps=" + std::to_string(m_Options.m_Scene.m_iRate) +
           " clock=" + clock;
}

nlohmann::json CServer::Report() const
{
    std::vector<XCodecCounts> channels;
    for (const auto& channel : m_pChannels->All())
        channels.push_back({channel->Counts(ECodec::Mpeg4), channel->Counts(ECodec::H264), channel->Passing()});
    return MakeReport({m_Options, m_pStore.get(), static_cast<double>(Now() - m_iStarted) / SECOND, channels,
                       *m_pDirectory, *m_pRendezvous, *m_pDevice, *m_pControl, *m_pData, *m_pRendezvousRoad,
                       *m_pDeviceRoad});
}

namespace
{

// "42  channel 3  2026-11-22 06:55:00  1048576 bytes", a line each, oldest first.
void SayRecords(const std::string& folder)
{
    for (const StoredRecord& record : ListRecords(folder))
        std::cout << record.name.id << "  channel " << record.name.channel + 1 << "  "
                  << TimeText(record.name.start) << "  " << record.bytes << " bytes\n";
}

}  // namespace

int RunRecorder(const XOptions& options)
{
    try {
        if (options.m_bListRecords) {
            SayRecords(options.m_strStore);
            return 0;
        }
        CServer server(options);
        server.Run(CServer::ESignals::Heed, [](const CServer& ready) {
            const std::string line = ready.ReadyLine() + "\n";
            std::cout << line << std::flush;
            if (!ready.Options().m_strReadyFile.empty()) WriteWhole(ready.Options().m_strReadyFile, line);
        });
        if (!options.m_strReport.empty()) WriteWhole(options.m_strReport, server.Report().dump(2) + "\n");
        return 0;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "watchwall-recorder: %s\n", e.what());
        return 1;
    }
}

}  // namespace recorder
