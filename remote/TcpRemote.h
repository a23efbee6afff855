#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "model/archive/NamedValue.h"
#include "remote/LinkThreads.h"
#include "remote/Remote.h"
#include "remote/p2p/LinkCounters.h"
#include "remote/tcp/TcpLink.h"

/// A device that streams over one TCP connection, records, takes snapshots and has pan and tilt.
class CTcpRemote : public CRemote
{
  public:
    /// How long Close waits for the link thread, milliseconds.
    static constexpr std::uint32_t CLOSE_WAIT_MS = 3000;

    /// A live channel.
    CTcpRemote() = default;
    /// A device for playback, which stays out of the device tree.
    CTcpRemote(std::int32_t mode, std::int32_t recordId);
    /// Ends every wait of its link threads, also of those that Close left behind, and joins them.
    ~CTcpRemote() override;

    std::int32_t GetMode() const { return m_Setup.mode; }
    std::int32_t GetRecordID() const { return m_Setup.record; }

    /// Connects and starts the link thread, unless the device is open. The connect lasts for as long as the
    /// system lets it, in which the calling thread serves what RunServing says; the device may be destroyed
    /// there. One that can't be reached stays open without a thread, until Close.
    void Open() override;
    /// Ends the link thread, for which it waits 3000 ms at most. A thread that a peer holds in the middle of a
    /// frame is left behind: it gives back what it holds when it ends, at the latest with the next Open.
    void Close() override;
    void LetGo() override;
    /// Made on the first call, for the address and the channel of then.
    IPtz* GetPtz() override;

    /// What the link did since the device was built. Any thread.
    const CLinkCounters& GetCounters() const { return *m_pCounters; }

    /// Clock and file length of recordings, which tests make others; for the next Open.
    TcpLinkSetup& GetSetup() { return m_Setup; }

    template <class Archive>
    void Serialize(Archive& archive)
    {
        CRemote::Serialize(archive);
        archive& Named("m_strNetAddress", m_strNetAddress);
    }

    std::string m_strNetAddress;  // the device's name or dotted address; a lookup doesn't change it

  private:
    TcpLinkSetup m_Setup;
    const std::shared_ptr<CLinkCounters> m_pCounters = std::make_shared<CLinkCounters>();
    CLinkThreads m_Threads;
};
