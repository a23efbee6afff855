#pragma once

#include <asio.hpp>
#include <atomic>
#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "recorder/media/Channel.h"
#include "recorder/protocol/DeviceLink.h"
#include "recorder/protocol/Rendezvous.h"
#include "recorder/server/ControlServer.h"
#include "recorder/server/DataServer.h"
#include "recorder/server/DirectoryServer.h"
#include "recorder/server/Options.h"
#include "recorder/server/UdpRoad.h"
#include "recorder/store/Store.h"

namespace recorder
{

// The whole recorder: directory, rendezvous, device, direct ports and channels. All protocol logic runs on the
// thread that calls Run; each channel makes its pictures on a thread of its own and posts them there.
class CServer
{
  public:
    // Binds all ports; throws asio::system_error when one is taken, std::runtime_error when there is no store.
    explicit CServer(XOptions options);
    ~CServer();
    CServer(const CServer&) = delete;
    CServer& operator=(const CServer&) = delete;

    // Serves until Stop, a signal that Run was told to heed, or the end of the time in the options. ready is
    // called once, on this thread, when clients can come.
    enum class ESignals { Ignore, Heed };
    void Run(ESignals signals, const std::function<void(const CServer&)>& ready);
    // From any thread, at any time.
    void Stop();

    const XOptions& Options() const { return m_Options; }
    // The ports that are served on.
    XEndpoint DirectoryAt() const { return m_DirectoryAt; }
    XEndpoint RendezvousAt() const { return m_RendezvousAt; }
    XEndpoint DeviceAt() const { return m_DeviceAt; }
    XEndpoint ControlAt() const { return m_pControl->Local(); }
    XEndpoint DataAt() const { return m_pData->Local(); }
    // "ready id=1001 directory=127.0.0.1:6800 rendezvous=... device=... control=... data=... channels=4
    // size=704x576 fps=25 clock=..."
    std::string ReadyLine() const;
    // What was served. On the thread of Run, or after it.
    nlohmann::json Report() const;

  private:
    class CChannels;

    void OpenStore();
    void StartChannels();
    void Tick();
    void WakeAt(TimeUs iDue);
    void OnPicture(int iChannel, const std::shared_ptr<const XCoded>& pCoded);
    void SayReady();
    void End();

    XOptions m_Options;
    asio::io_context m_Context;
    asio::steady_timer m_Timer;
    asio::steady_timer m_Limit;
    asio::signal_set m_Signals;
    std::unique_ptr<Store> m_pStore;  // outlives the channels, whose threads give it pictures
    std::unique_ptr<CChannels> m_pChannels;
    std::unique_ptr<CDirectoryServer> m_pDirectory;
    std::unique_ptr<CUdpRoad> m_pRendezvousRoad;
    std::unique_ptr<CUdpRoad> m_pDeviceRoad;
    std::unique_ptr<CRendezvous> m_pRendezvous;
    std::unique_ptr<CDeviceLink> m_pDevice;
    std::unique_ptr<CControlServer> m_pControl;
    std::unique_ptr<CDataServer> m_pData;
    std::function<void(const CServer&)> m_Ready;
    XEndpoint m_DirectoryAt;
    XEndpoint m_RendezvousAt;
    XEndpoint m_DeviceAt;
    TimeUs m_iStarted = 0;
    bool m_bChannelsReady = false;
    std::vector<std::thread> m_Preparing;
};

// Serves with these options until a signal: says that it is ready, writes the report at the end. The program's
// result.
int RunRecorder(const XOptions& options);

}  // namespace recorder
