#include "remote/UdpRemote.h"

#include <utility>

#include "model/tree/Observer.h"
#include "remote/udp/UdpLink.h"
#include "render/CellPool.h"

CUdpRemote::CUdpRemote(std::int32_t netID, std::shared_ptr<CP2PSession> session, std::string user,
                       std::string password)
    : m_szUsername(std::move(user)), m_szPassword(std::move(password)), m_pSession(std::move(session))
{
    m_iNetID = netID;
}

CUdpRemote::~CUdpRemote()
{
    LeaveFolder();
    LetGo();
    m_Threads.PutAside(0);
    m_Threads.EndLate();
}

void CUdpRemote::Open()
{
    m_bVisible = true;
    const bool start = GetStatus() != STATUS_OPEN;
    // The status stands before the thread runs, so that one that fails at once can clear it.
    SetStatus(STATUS_OPEN);
    if (start) StartLink();
    Notify(this, "IDS_DeviceOpened");
}

void CUdpRemote::StartLink()
{
    // A thread that was left behind would take the new stream's reply for itself.
    m_Threads.PutAside(0);
    m_Threads.EndLate();
    GetState()->m_bRunning = true;
    m_pCounters->firstPictureMs.store(-1, std::memory_order_relaxed);
    const auto link = std::make_shared<CUdpLink>(GetState(), m_pSession, m_pCounters, m_iNetID, m_iDevID);
    if (m_Threads.Start(link, "udp link")) return;
    // As a link that ends at once.
    ReleaseCell(GetState()->m_hRenderWnd.Exchange(HWND::Null));
    SetStatus(STATUS_CLOSED);
}

void CUdpRemote::LetGo()
{
    CRemote::LetGo();
    m_Threads.Cancel();
}

void CUdpRemote::Close()
{
    if (GetStatus() != STATUS_CLOSED) {
        SetStatus(STATUS_CLOSED);
        LetGo();
        if (!m_Threads.PutAside(m_ulCloseWaitMs)) LeaveStateBehind();
    }
    SetStatus(STATUS_CLOSED);
    Notify(this, "IDS_DeviceClosed");
}
