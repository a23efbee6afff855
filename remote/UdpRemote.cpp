#include "remote/UdpRemote.h"

#include <utility>

#include "model/tree/Observer.h"
#include "remote/udp/UdpLink.h"

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
    PutAside();
    EndLateLinks();
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
    PutAside();
    EndLateLinks();
    GetState()->m_bRunning = true;
    m_pCounters->firstPictureMs.store(-1, std::memory_order_relaxed);
    m_pLink = std::make_shared<CUdpLink>(GetState(), m_pSession, m_pCounters, m_iNetID, m_iDevID);
    m_hThread = CreateThread([link = m_pLink] { link->Run(); }, "udp link");
}

void CUdpRemote::LetGo()
{
    CRemote::LetGo();
    if (m_pLink) m_pLink->Cancel();
}

void CUdpRemote::Close()
{
    if (GetStatus() != STATUS_CLOSED) {
        SetStatus(STATUS_CLOSED);
        LetGo();
        const bool late = WaitForSingleObject(m_hThread, m_ulCloseWaitMs) == WAIT_TIMEOUT;
        PutAside();
        if (late) LeaveStateBehind();
    }
    SetStatus(STATUS_CLOSED);
    Notify(this, "IDS_DeviceClosed");
}

/// Takes the present thread, if there is one, as one whose end is still to be waited for.
void CUdpRemote::PutAside()
{
    if (m_hThread != nullptr) m_LateLinks.push_back({std::move(m_pLink), m_hThread});
    m_pLink.reset();
    m_hThread = nullptr;
}

/// Ends the threads that were put aside and waits until they are gone, serving what they send meanwhile.
void CUdpRemote::EndLateLinks()
{
    for (const auto& late : std::exchange(m_LateLinks, {})) {
        late.link->Cancel();
        WaitForSingleObject(late.thread, INFINITE);
        CloseHandle(late.thread);
    }
}
