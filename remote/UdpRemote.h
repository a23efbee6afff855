#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "model/archive/NamedValue.h"
#include "remote/LinkThreads.h"
#include "remote/Remote.h"
#include "remote/p2p/LinkCounters.h"

class CP2PSession;

/// One channel of a machine that is reached through its station's session. It never records and has no pan and
/// tilt: the link serves none of the request bits.
class CUdpRemote final : public CRemote
{
  public:
    /// How long Close waits for the link thread, milliseconds.
    static constexpr std::uint32_t CLOSE_WAIT_MS = 3000;

    /// Without a session, as an archive builds it: such a channel opens and closes at once.
    CUdpRemote() = default;
    CUdpRemote(std::int32_t netID, std::shared_ptr<CP2PSession> session, std::string user,
               std::string password);
    /// Ends every wait of its link threads, also of those that Close left behind, and joins them.
    ~CUdpRemote() override;

    /// Starts the link thread unless the channel is open.
    void Open() override;

    /// Ends the link thread's waits and waits for it, 3000 ms at most. A thread that can't be woken, as one in
    /// the renderer, is left behind: it gives back what it holds when it ends, at the latest with the next
    /// Open.
    void Close() override;

    void LetGo() override;

    // oddity: udp-params-store-nothing. Both answer 0 to every id; a panel that wants video writes the window
    // with SetRenderWnd.
    std::int32_t SetParam(std::int32_t /*id*/, std::int32_t /*value*/) override { return 0; }
    std::int32_t GetParam(std::int32_t /*id*/) override { return 0; }

    /// What the channel did since it was built; the datagrams are counted by the session. Any thread.
    const CLinkCounters& GetCounters() const { return *m_pCounters; }

    /// The wait of Close, which tests make another.
    std::uint32_t GetCloseWait() const { return m_ulCloseWaitMs; }
    void SetCloseWait(std::uint32_t ms) { m_ulCloseWaitMs = ms; }

    template <class Archive>
    void Serialize(Archive& archive)
    {
        CRemote::Serialize(archive);
        archive& Named("m_szUsername", m_szUsername) & Named("m_szPassword", m_szPassword);
    }

    std::string m_szUsername;  // both are saved as plain text and sent to nobody
    std::string m_szPassword;

  private:
    void StartLink();

    std::shared_ptr<CP2PSession> m_pSession;  // the station's, shared by its channels
    const std::shared_ptr<CLinkCounters> m_pCounters = std::make_shared<CLinkCounters>();
    CLinkThreads m_Threads;
    std::uint32_t m_ulCloseWaitMs = CLOSE_WAIT_MS;
};
