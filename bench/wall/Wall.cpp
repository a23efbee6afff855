#include "bench/wall/Wall.h"

#include <algorithm>
#include <stdexcept>

#include "bench/wall/ArrivalTap.h"
#include "bench/wall/Measure.h"
#include "bench/wall/ShownDevice.h"
#include "platform/os/clock.h"
#include "remote/UdpRemote.h"
#include "remote/UdpRemoteStation.h"
#include "render/D3DSurfaceRender.h"

CBenchWall::CBenchWall(const CRecorderProcess& recorder, std::shared_ptr<ISurfaceAdapter> adapter,
                       std::vector<HWND> windows)
    : m_Windows(std::move(windows))
{
    auto telling =
        MakeTellingAdapter(std::move(adapter), [this](HWND window, bool shown) { OnPresented(window, shown); });
    SetRenderFactory([telling] { return std::make_unique<CD3DSurfaceRender>([telling] { return telling; }); });
    if (CreateRender()->Init(HWND::Null) == 0) throw std::runtime_error("the renderer does not start");
    SetRenderFactory({});
    m_pStation = std::make_unique<CUdpRemoteStation>(recorder.GetEndpoints(),
                                                     recorder.SessionOptionsOf(SystemClock(), true));
    if (!m_pStation->Connect("4711", 10060, 10061) || !m_pStation->GetSession()->IsConnected())
        throw std::runtime_error("no session with the recorder");
    m_pDevices = m_pStation->EnumDevices();
    const auto walk = m_pDevices->CreateIterator();
    for (std::size_t i = 0; i < m_Windows.size() && walk->HasNext(); ++i, walk->Next())
        m_Channels[i].device = dynamic_cast<CUdpRemote*>(walk->CurrentItem());
}

CBenchWall::~CBenchWall()
{
    for (int i = 0; i < Count(); ++i)
        Close(i);
    m_pDevices.reset();
    m_pStation.reset();
    ReleaseRender();
}

void CBenchWall::Open(int channelNumber)
{
    WallChannel& channel = m_Channels[static_cast<std::size_t>(channelNumber)];
    channel.shownAtOpen = channel.shown;
    channel.first = -1;
    channel.opened = NowMs();
    channel.device->SetRenderWnd(m_Windows[static_cast<std::size_t>(channelNumber)]);
    channel.device->Open();
}

void CBenchWall::OpenAll()
{
    for (int i = 0; i < Count(); ++i)
        Open(i);
}

void CBenchWall::Close(int channel)
{
    m_Channels[static_cast<std::size_t>(channel)].device->Close();
}

void CBenchWall::WaitForPictures()
{
    const bool all = WaitUntil([&] {
        return std::all_of(m_Channels.begin(), m_Channels.begin() + Count(),
                           [](const WallChannel& channel) { return channel.shown > channel.shownAtOpen; });
    });
    if (!all) throw std::runtime_error("a channel shows nothing");
}

void CBenchWall::OnPresented(HWND window, bool shown)
{
    const auto found = std::ranges::find(m_Windows, window);
    if (found == m_Windows.end()) return;
    const auto channelNumber = found - m_Windows.begin();
    WallChannel& channel = m_Channels[static_cast<std::size_t>(channelNumber)];
    const double age = arrival_tap::TakeAge(static_cast<int>(channelNumber));
    if (!shown) {
        ++channel.failed;
        return;
    }
    if (age >= 0 && m_bKeepAges.load(std::memory_order_relaxed)) channel.ages.push_back(age);
    if (channel.first < 0) channel.first = NowMs() - channel.opened;
    ++channel.shown;
}

std::uint64_t CBenchWall::Shown() const
{
    std::uint64_t sum = 0;
    for (const WallChannel& channel : m_Channels)
        sum += channel.shown;
    return sum;
}

std::uint64_t CBenchWall::Shown(int channel) const
{
    return m_Channels[static_cast<std::size_t>(channel)].shown;
}

double CBenchWall::FirstPictureMs(int channel) const
{
    return m_Channels[static_cast<std::size_t>(channel)].first;
}

std::uint64_t CBenchWall::Lost() const
{
    std::uint64_t sum = m_pStation->GetSession()->GetCounters().dropped;
    for (int i = 0; i < Count(); ++i) {
        const WallChannel& channel = m_Channels[static_cast<std::size_t>(i)];
        sum += channel.failed + channel.device->GetCounters().refused;
    }
    return sum;
}

std::vector<double> CBenchWall::TakeAges()
{
    std::vector<double> ages;
    for (WallChannel& channel : m_Channels) {
        ages.insert(ages.end(), channel.ages.begin(), channel.ages.end());
        channel.ages.clear();
    }
    return ages;
}
