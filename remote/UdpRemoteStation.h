#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "remote/RemoteStation.h"
#include "remote/p2p/Endpoints.h"
#include "remote/p2p/P2PSession.h"

/// The station that the operator logs on to by its net id: it asks the directory for the number of channels,
/// registers at the rendezvous server, and builds one CUdpRemote for each channel. Panels' thread only.
class CUdpRemoteStation final : public CRemoteStation
{
  public:
    /// More channels than this aren't built, whatever the directory says.
    static constexpr std::int32_t CHANNEL_LIMIT = 1024;

    /// Servers and options as "config\system.ini" has them when Connect is called.
    CUdpRemoteStation() = default;
    /// Servers and options of the caller's.
    CUdpRemoteStation(Endpoints endpoints, SessionOptions options);
    /// Ends the session with every wait of the threads that use it; the channels' destructors join them.
    ~CUdpRemoteStation() override;

    /// Asks for net id and channel count, then starts the session. False when the directory can't be reached;
    /// true otherwise, whatever became of the session. The ports aren't used. Blocks for as long as connecting
    /// to the directory takes, up to half a minute for its reply, and then as the session's start does; the
    /// panels' thread is served as RunServing says.
    bool Connect(const std::string& address, std::int32_t controlPort, std::int32_t dataPort) override;

    /// Keeps both for the channels; neither is checked anywhere.
    bool Logon(const std::string& user, const std::string& password) override;

    std::unique_ptr<CDevices> EnumDevices() override;

    std::int32_t GetChannelCount() const { return m_iChannelCount; }

    /// The session, which the channels share; null before Connect reached the directory.
    const std::shared_ptr<CP2PSession>& GetSession() const { return m_pSession; }

    template <class Archive>
    void Serialize(Archive& archive)
    {
        CRemoteStation::Serialize(archive);
    }

  private:
    std::shared_ptr<CP2PSession> m_pSession;
    std::int32_t m_iChannelCount = 0;
    std::string m_strUser;
    std::string m_strPassword;
    // null: read from the settings
    std::unique_ptr<const Endpoints> m_pEndpoints;
    std::unique_ptr<const SessionOptions> m_pOptions;
};

/// The own name at the rendezvous server, from what the processor reports of itself (CPUID leaf 1): the sum, in
/// 32 bits, of the four registers shifted by 12, 8, 4 and 0, as a signed decimal number.
std::string MachineName(std::uint32_t eax, std::uint32_t ebx, std::uint32_t ecx, std::uint32_t edx);
/// The same for this machine, on whichever core the calling thread runs: the core's number is the top byte of
/// EBX, which is shifted out.
std::string MachineName();
