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
#include "recorder/server/UdpTransport.h"
#include "recorder/store/Store.h"

namespace recorder
{

/// The whole recorder: directory, rendezvous, device, direct ports and channels. All protocol logic runs on the
/// thread that calls Run; each channel makes its pictures on a thread of its own and posts them there.
class Server
{
  public:
    /// Binds all ports; throws asio::system_error when one is taken, std::runtime_error when there is no store.
    explicit Server(Options options);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    enum class ESignals { Ignore, Heed };
    /// Serves until Stop, a signal that is heeded, or the end of the time in the options. ready is called once,
    /// on this thread, when clients can come.
    void Run(ESignals signals, const std::function<void(const Server&)>& ready);
    /// From any thread, at any time.
    void Stop();

    const Options& GetOptions() const { return m_Options; }
    /// The ports that are served on.
    Endpoint DirectoryAt() const { return m_DirectoryAt; }
    Endpoint RendezvousAt() const { return m_RendezvousAt; }
    Endpoint DeviceAt() const { return m_DeviceAt; }
    Endpoint ControlAt() const { return m_Control->Local(); }
    Endpoint DataAt() const { return m_Data->Local(); }
    /// "ready id=1001 directory=127.0.0.1:6800 rendezvous=... device=... control=... data=... channels=4
    /// size=704x576 fps=25 clock=..."
    std::string ReadyLine() const;
    /// What was served. On the thread of Run, or after it.
    nlohmann::json Report() const;

  private:
    class Channels;

    void OpenStore();
    void StartChannels();
    void Tick();
    void WakeAt(TimeUs due);
    void OnPicture(int channel, const std::shared_ptr<const Coded>& coded);
    void SayReady();
    void End();

    Options m_Options;
    asio::io_context m_Context;
    asio::steady_timer m_Timer;
    asio::steady_timer m_Limit;
    asio::signal_set m_Signals;
    std::unique_ptr<Store> m_Store;  // outlives the channels, whose threads give it pictures
    std::unique_ptr<Channels> m_Channels;
    std::unique_ptr<DirectoryServer> m_Directory;
    std::unique_ptr<UdpTransport> m_RendezvousTransport;
    std::unique_ptr<UdpTransport> m_DeviceTransport;
    std::unique_ptr<Rendezvous> m_Rendezvous;
    std::unique_ptr<DeviceLink> m_Device;
    std::unique_ptr<ControlServer> m_Control;
    std::unique_ptr<DataServer> m_Data;
    std::function<void(const Server&)> m_Ready;
    Endpoint m_DirectoryAt;
    Endpoint m_RendezvousAt;
    Endpoint m_DeviceAt;
    TimeUs m_Started = 0;
    bool m_ChannelsReady = false;
    std::vector<std::thread> m_Preparing;
};

/// Serves with these options until a signal: says that it is ready, writes the report at the end. The program's
/// result.
int RunRecorder(const Options& options);

}  // namespace recorder
