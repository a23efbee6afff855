#include "remote/TcpRemote.h"

#include <utility>

#include "model/tree/Observer.h"
#include "platform/windows/serving.h"
#include "remote/directory/DirectoryLookup.h"
#include "remote/p2p/Endpoints.h"
#include "remote/ptz/RemotePtz.h"
#include "render/CellPool.h"

namespace
{

/// A connection to the device's stream port, or INVALID_SOCKET. Dotted addresses alone are known.
SOCKET Connect(const std::string& dottedAddress)
{
    const SOCKET socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (socket == INVALID_SOCKET) return socket;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(DATA_PORT);
    address.sin_addr.s_addr = inet_addr(dottedAddress.c_str());
    if (::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return socket;
    closesocket(socket);
    return INVALID_SOCKET;
}

void GiveBackCell(CDeviceState& state)
{
    ReleaseCell(state.m_hRenderWnd.Exchange(HWND::Null));
}

}  // namespace

CTcpRemote::CTcpRemote(std::int32_t mode, std::int32_t recordId)
{
    m_Setup.mode = mode;
    m_Setup.record = recordId;
    m_bVisible = false;
}

CTcpRemote::~CTcpRemote()
{
    LeaveFolder();
    GetState()->m_bRunning = false;
    m_Threads.PutAside(0);
    m_Threads.EndLate();
}

void CTcpRemote::Open()
{
    if (GetStatus() != STATUS_CLOSED) return;
    // A thread that was left behind is gone before the device is at work again.
    m_Threads.PutAside(0);
    m_Threads.EndLate();
    SetStatus(STATUS_OPEN);
    Notify(this, "");
    GetState()->m_bRunning = true;
    SOCKET socket = INVALID_SOCKET;
    const std::shared_ptr<CDeviceState> state = GetState();
    // Directory and device may keep the panels' thread for minutes.
    RunServing([&socket, endpoints = ReadEndpoints(), netAddress = m_strNetAddress] {
        socket = Connect(LookUpAddress(endpoints, netAddress));
    });
    // The container may have destroyed the device in the wait, by a call that it had queued.
    const bool gone = state->m_pDevice == nullptr;
    if (gone || socket == INVALID_SOCKET) {
        if (socket != INVALID_SOCKET) closesocket(socket);
        GiveBackCell(*state);
        return;
    }
    m_pCounters->firstPictureMs.store(-1, std::memory_order_relaxed);
    m_Setup.channel = m_iDevID;
    m_Setup.canRecord = CanRecord();
    if (!m_Threads.Start(std::make_shared<CTcpLink>(GetState(), m_pCounters, socket, m_Setup), "tcp link"))
        GiveBackCell(*state);
}

void CTcpRemote::LetGo()
{
    CRemote::LetGo();
    m_Threads.Cancel();
}

void CTcpRemote::Close()
{
    GetState()->m_bRunning = false;
    const bool late = !m_Threads.PutAside(CLOSE_WAIT_MS);
    if (late) LeaveStateBehind();
    SetStatus(STATUS_CLOSED);
    Notify(this, "");
}

IPtz* CTcpRemote::GetPtz()
{
    ASSERT_THREAD(m_PanelsThread);
    if (!m_pPtz) m_pPtz = std::make_shared<CRemotePtz>(m_strNetAddress, m_iDevID);
    return m_pPtz.get();
}
