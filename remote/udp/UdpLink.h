#pragma once

#include <cstdint>
#include <memory>

#include "remote/DeviceState.h"
#include "remote/LinkThreads.h"
#include "remote/link/LinkPicture.h"
#include "remote/p2p/LinkCounters.h"
#include "remote/p2p/P2PSession.h"

/// One run of a channel's link: its thread punches a path to the machine, asks for the channel's stream and
/// draws what arrives, without a queue between decoder and screen. All that it uses it holds by shared
/// pointers, and it reaches the device through the state alone, so a run that outlives the device's wait
/// touches nothing that is gone.
class CUdpLink final : public ILink
{
  public:
    CUdpLink(std::shared_ptr<CDeviceState> state, std::shared_ptr<CP2PSession> session,
             std::shared_ptr<CLinkCounters> counters, std::int32_t netID, std::int32_t devID);
    ~CUdpLink() override;
    CUdpLink(const CUdpLink&) = delete;
    CUdpLink& operator=(const CUdpLink&) = delete;

    /// The link thread, from start to end. Ends when m_bRunning of the state is clear and a message has come,
    /// when no path could be had, when the session has ended, by Cancel, or by an exception, which the log
    /// tells.
    void Run() override;

    /// Ends every wait of the run. Any thread.
    void Cancel() override;

  private:
    void Receive();
    void CleanUp();
    bool IsEnding() const { return m_Cancel.load(std::memory_order_relaxed) || !m_pState->m_bRunning; }

    // set in the constructor, constant afterwards
    const std::shared_ptr<CDeviceState> m_pState;
    const std::shared_ptr<CP2PSession> m_pSession;  // null for a channel that no station has built
    const std::shared_ptr<CLinkCounters> m_pCounters;
    const std::int32_t m_iNetID;
    const std::int32_t m_iDevID;
    // any thread
    P2PCancel m_Cancel{false};
    // link thread only
    CLinkPicture m_Picture;
};
