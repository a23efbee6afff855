#include "host/DisplayWatch.h"

#include <sys/socket.h>
#include <xcb/xcb.h>
#include <xcb/xcbext.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

#include "inc/Mutex.h"

namespace
{

constexpr auto LOOK = std::chrono::milliseconds(50);
constexpr auto PAUSE = std::chrono::seconds(1);  // between two looks whether the end is due, and two questions
constexpr auto SILENCE = std::chrono::seconds(5);  // that counts as an end

struct Peer {
    explicit Peer(int socket)
    {
        valid = ::getpeername(socket, reinterpret_cast<sockaddr*>(&place), &length) == 0;
    }
    bool operator==(const Peer& other) const
    {
        return valid && other.valid && length == other.length && std::memcmp(&place, &other.place, length) == 0;
    }

    sockaddr_storage place{};
    socklen_t length = sizeof place;
    bool valid = false;
};

// Whoever made them: the toolkit, the control's renderer, the graphics driver.
void BreakConnectionsTo(const Peer& peer)
{
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", error)) {
        const std::string name = entry.path().filename();
        int socket = -1;
        const auto parsed = std::from_chars(name.data(), name.data() + name.size(), socket);
        if (parsed.ec == std::errc() && Peer(socket) == peer) ::shutdown(socket, SHUT_RDWR);
    }
}

}  // namespace

// A connection of its own, by which the display is asked. On the watch's thread, but for its making.
class CDisplayWatch::CProbe
{
  public:
    CProbe() : m_pConnection(xcb_connect(nullptr, nullptr)) {}
    ~CProbe() { xcb_disconnect(m_pConnection); }
    CProbe(const CProbe&) = delete;
    CProbe& operator=(const CProbe&) = delete;

    bool IsUsable() const { return xcb_connection_has_error(m_pConnection) == 0; }

    void Ask()
    {
        m_Asked = xcb_get_input_focus(m_pConnection);
        xcb_flush(m_pConnection);
    }
    // A broken connection says nothing about its display: that one isn't silent.
    bool HasAnswered()
    {
        void* reply = nullptr;
        xcb_generic_error_t* fault = nullptr;
        const bool answered = xcb_poll_for_reply(m_pConnection, m_Asked.sequence, &reply, &fault) != 0;
        std::free(reply);
        std::free(fault);
        return answered || !IsUsable();
    }
    void BreakAll() const { BreakConnectionsTo(Peer(xcb_get_file_descriptor(m_pConnection))); }

  private:
    xcb_connection_t* const m_pConnection;
    xcb_get_input_focus_cookie_t m_Asked{};
};

CDisplayWatch::CDisplayWatch(std::function<bool()> isDue)
    : m_IsDue(std::move(isDue)), m_pProbe(std::make_unique<CProbe>())
{
    if (m_pProbe->IsUsable()) m_Thread = std::thread([this] { Watch(); });
}

CDisplayWatch::~CDisplayWatch()
{
    {
        const CMutexLock lock(m_cs);
        m_bStopped = true;
    }
    m_Wake.notify_all();
    if (m_Thread.joinable()) m_Thread.join();
}

bool CDisplayWatch::WaitForStop(std::chrono::milliseconds time)
{
    CMutexLock lock(m_cs);
    return lock.WaitFor(m_Wake, time, [this]() REQUIRES(m_cs) { return m_bStopped; });
}

void CDisplayWatch::Watch()
{
    using std::chrono::steady_clock;
    while (!WaitForStop(PAUSE) && m_pProbe->IsUsable()) {
        if (!m_IsDue()) continue;
        m_pProbe->Ask();
        const auto limit = steady_clock::now() + SILENCE;
        while (!m_pProbe->HasAnswered()) {
            if (WaitForStop(LOOK)) return;
            if (steady_clock::now() < limit) continue;
            std::fputs("watchwall: the display does not answer\n", stderr);
            std::fflush(stderr);
            m_bBroken = true;
            m_pProbe->BreakAll();
            return;
        }
    }
}
