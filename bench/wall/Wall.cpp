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

CWall::CWall(const CRecorderProcess& recorder, std::shared_ptr<ISurfaceAdapter> adapter,
             std::vector<HWND> windows)
    : m_Windows(std::move(windows))
{
    auto telling =
        MakeTellingAdapter(std::move(adapter), [this](HWND window, bool shown) { OnPresented(window, shown); });
    SetRenderFactory([telling] { return std::make_unique<CD3DSurfaceRender>([telling] { return telling; }); });
    if (CreateRender()->Init(HWND::Null) == 0) throw std::runtime_error("the renderer does not start");
    SetRenderFactory({});
    m_pStation =
        std::make_unique<CUdpRemoteStation>(recorder.Endpoints(), recorder.SessionOptions(SystemClock(), true));
    if (!m_pStation->Connect("4711", 10060, 10061) || !m_pStation->GetSession()->IsConnected())
        throw std::runtime_error("no session with the recorder");
    m_pDevices = m_pStation->EnumDevices();
    const auto walk = m_pDevices->CreateIterator();
    for (std::size_t i = 0; i < m_Windows.size() && walk->HasNext(); ++i, walk->Next())
        m_Channels[i].m_pDevice = dynamic_cast<CUdpRemote*>(walk->CurrentItem());
}

CWall::~CWall()
{
    for (int i = 0; i < Count(); ++i)
        Close(i);
    m_pDevices.reset();
    m_pStation.reset();
    ReleaseRender();
}

void CWall::Open(int iChannel)
{
    XChannel& channel = m_Channels[static_cast<std::size_t>(iChannel)];
    channel.m_ulShownAtOpen = channel.m_ulShown;
    channel.m_dFirst = -1;
    channel.m_dOpened = NowMs();
    channel.m_pDevice->SetRenderWnd(m_Windows[static_cast<std::size_t>(iChannel)]);
    channel.m_pDevice->Open();
}

void CWall::OpenAll()
{
    for (int i = 0; i < Count(); ++i)
        Open(i);
}

void CWall::Close(int iChannel)
{
    m_Channels[static_cast<std::size_t>(iChannel)].m_pDevice->Close();
}

void CWall::WaitForPictures()
{
    const bool all = WaitUntil([&] {
        return std::all_of(m_Channels.begin(), m_Channels.begin() + Count(),
                           [](const XChannel& channel) { return channel.m_ulShown > channel.m_ulShownAtOpen; });
    });
    if (!all) throw std::runtime_error("a channel shows nothing");
}

void CWall::OnPresented(HWND window, bool shown)
{
    const auto found = std::ranges::find(m_Windows, window);
    if (found == m_Windows.end()) return;
    const auto iChannel = found - m_Windows.begin();
    XChannel& channel = m_Channels[static_cast<std::size_t>(iChannel)];
    const double age = arrival_tap::TakeAge(static_cast<int>(iChannel));
    if (!shown) {
        ++channel.m_ulFailed;
        return;
    }
    if (age >= 0 && m_bKeepAges.load(std::memory_order_relaxed)) channel.m_Ages.push_back(age);
    if (channel.m_dFirst < 0) channel.m_dFirst = NowMs() - channel.m_dOpened;
    ++channel.m_ulShown;
}

std::uint64_t CWall::Shown() const
{
    std::uint64_t sum = 0;
    for (const XChannel& channel : m_Channels)
        sum += channel.m_ulShown;
    return sum;
}

std::uint64_t CWall::Shown(int iChannel) const
{
    return m_Channels[static_cast<std::size_t>(iChannel)].m_ulShown;
}

double CWall::FirstPictureMs(int iChannel) const
{
    return m_Channels[static_cast<std::size_t>(iChannel)].m_dFirst;
}

std::uint64_t CWall::Lost() const
{
    std::uint64_t sum = m_pStation->GetSession()->GetCounters().m_ulDropped;
    for (int i = 0; i < Count(); ++i) {
        const XChannel& channel = m_Channels[static_cast<std::size_t>(i)];
        sum += channel.m_ulFailed + channel.m_pDevice->GetCounters().m_ulRefused;
    }
    return sum;
}

std::vector<double> CWall::TakeAges()
{
    std::vector<double> ages;
    for (XChannel& channel : m_Channels) {
        ages.insert(ages.end(), channel.m_Ages.begin(), channel.m_Ages.end());
        channel.m_Ages.clear();
    }
    return ages;
}
