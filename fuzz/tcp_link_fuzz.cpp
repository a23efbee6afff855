// A device's direct link from its reply to its last picture, with recordings and snapshots on request. The
// first byte says what the panels want: the mode (bits 0 and 1), a snapshot and a recording from the start on
// (2 and 3), a new file after every picture (4), and new requests with every picture shown (5). The rest is
// what the device sends, over a real socket, until it hangs up.

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <span>
#include <string>

#include "fuzz/reading_render.h"
#include "platform/os/paths.h"
#include "remote/DeviceState.h"
#include "remote/link/LinkPicture.h"
#include "remote/tcp/Framing.h"
#include "remote/tcp/TcpLink.h"

namespace
{

constexpr std::uint8_t MODE_BITS = 0x03;
constexpr std::uint8_t WANT_SNAPSHOT = 0x04;
constexpr std::uint8_t WANT_RECORD = 0x08;
constexpr std::uint8_t ROLL_OVER_ALWAYS = 0x10;
constexpr std::uint8_t WANT_MORE = 0x20;
constexpr std::size_t LONGEST_STREAM = std::size_t{128} << 10;  // what the socket takes before anybody reads

std::string g_strFolder;
CDeviceState* g_pAsking = nullptr;  // whose pictures bring new requests

/// Asks for one thing after the other with the pictures that it is shown.
class CAskingRender final : public CReadingRender
{
  public:
    std::int32_t DisplayClient(const CodecFrame* frame, CSurface* surface, HWND window) override
    {
        constexpr std::uint32_t REQUESTS[] = {FLAG_STOP_RECORD, FLAG_START_RECORD, FLAG_SNAPSHOT};
        if (g_pAsking != nullptr) g_pAsking->m_nFlags.SetBits(REQUESTS[m_Shown++ % std::size(REQUESTS)]);
        return CReadingRender::DisplayClient(frame, surface, window);
    }

  private:
    std::size_t m_Shown = 0;
};

/// Whether the reply tells of pictures that are let in but take this target's whole time.
bool IsSlow(std::span<const std::uint8_t> stream)
{
    constexpr std::size_t WIDTH_AT = 8;
    constexpr std::size_t HEIGHT_AT = 12;
    constexpr std::int32_t FEW_PIXELS = 4096;
    if (stream.size() < HEIGHT_AT + FRAME_HEADER_BYTES) return false;
    const std::int32_t width = GetFrameLength(&stream[WIDTH_AT]);
    const std::int32_t height = GetFrameLength(&stream[HEIGHT_AT]);
    if (!IsWithinLimit(width, height)) return false;
    return width > FEW_PIXELS || height > FEW_PIXELS || width * height > FEW_PIXELS * 16;
}

void RemoveFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(g_strFolder, ignored);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    // In memory: a disk that waits for each recording leaves a dozen of runs a second.
    for (std::string folder : {"/dev/shm/tcp_link_fuzz-XXXXXX", "/tmp/tcp_link_fuzz-XXXXXX"}) {
        if (mkdtemp(folder.data()) == nullptr) continue;
        g_strFolder = folder;
        break;
    }
    if (g_strFolder.empty()) return 1;
    std::atexit(RemoveFolder);
    std::filesystem::create_directory(g_strFolder + "/config");
    std::ofstream(g_strFolder + "/config/system.ini")
        << "[System]\nRecordPath=" << SystemPath(g_strFolder) << "\\rec\n";
    SetModuleDirectory(SystemPath(g_strFolder));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) return 0;
    const std::uint8_t wants = data[0];
    if (IsSlow({data + 1, size - 1})) return 0;
    int both[2];
    Require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, both) == 0);
    // A short send is a device that hangs up early.
    [[maybe_unused]] const auto sent =
        ::send(both[1], data + 1, std::min(size - 1, LONGEST_STREAM), MSG_DONTWAIT | MSG_NOSIGNAL);
    ::shutdown(both[1], SHUT_WR);

    const auto state = std::make_shared<CDeviceState>(nullptr);
    state->SetName("cam");
    state->m_bRunning = true;
    state->m_iStatus = STATUS_OPEN;
    if ((wants & WANT_SNAPSHOT) != 0) state->m_nFlags.SetBits(FLAG_SNAPSHOT);
    if ((wants & WANT_RECORD) != 0) state->m_nFlags.SetBits(FLAG_START_RECORD);
    g_pAsking = (wants & WANT_MORE) != 0 ? state.get() : nullptr;
    SetRenderFactory([] { return std::make_unique<CAskingRender>(); });
    const auto counters = std::make_shared<CLinkCounters>();
    TcpLinkSetup setup;
    setup.mode = wants & MODE_BITS;
    if ((wants & ROLL_OVER_ALWAYS) != 0) setup.rolloverMs = 0;
    {
        // On the heap, so that a read or write past its buffer is seen.
        const auto link = std::make_unique<CTcpLink>(state, counters, both[0], setup);
        link->Run();
    }
    SetRenderFactory({});
    ReleaseRender();
    ::close(both[1]);
    Require(state->m_pDecoder == nullptr);
    Require(counters->decoded + counters->refused == counters->messages);
    Require(counters->shown <= counters->decoded);
    Require(counters->messages <= counters->datagrams);
    return 0;
}
