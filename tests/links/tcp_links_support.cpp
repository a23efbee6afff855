#include "tests/links/tcp_links_support.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "codec/codec.h"
#include "render/D3DSurfaceRender.h"
#include "render/device/MemorySurfaceDevice.h"
#include "tests/support/process.h"

namespace
{

class CDrawingRender final : public CRender
{
  public:
    explicit CDrawingRender(DrawnPicture drawn)
        : m_Inner([] { return std::make_shared<CMemorySurfaceAdapter>(); }), m_Drawn(std::move(drawn))
    {
        if (m_Inner.Init(HWND::Null) == 0) throw std::runtime_error("the renderer does not start");
    }
    ~CDrawingRender() override { m_Inner.Uninit(); }
    std::int32_t DisplayClient(const CodecFrame* frame, CSurface* surface, HWND window) override
    {
        const std::int32_t result = m_Inner.DisplayClient(frame, surface, window);
        if (surface->m_Showing == EShowing::Shown) m_Drawn(window, *frame);
        return result;
    }
    CSurface* CreateSurface(std::int32_t width, std::int32_t height) override
    {
        return m_Inner.CreateSurface(width, height);
    }
    void DestroySurface(CSurface* surface) override { m_Inner.DestroySurface(surface); }
    std::int32_t SaveSnapshot(std::string path, CSurface* surface) override
    {
        return m_Inner.SaveSnapshot(std::move(path), surface);
    }

  private:
    CD3DSurfaceRender m_Inner;
    const DrawnPicture m_Drawn;
};

}  // namespace

std::optional<recorder::Mark> ReadMark(const CodecFrame& frame)
{
    recorder::Picture corner;
    corner.Resize(recorder::MARK_WIDTH, recorder::MARK_HEIGHT);
    const int top = frame.height - recorder::MARK_HEIGHT;
    for (int row = 0; row < recorder::MARK_HEIGHT; ++row)
        std::copy_n(frame.data[0] + static_cast<std::ptrdiff_t>(top + row) * frame.linesize[0],
                    recorder::MARK_WIDTH,
                    corner.y.begin() + static_cast<std::ptrdiff_t>(row) * recorder::MARK_WIDTH);
    return recorder::ReadMark(corner);
}

std::unique_ptr<CRender> MakeDrawingRender(DrawnPicture drawn)
{
    return std::make_unique<CDrawingRender>(std::move(drawn));
}

CTcpLinksTest::CTcpLinksTest()
    : m_strAddress("127.65." + std::to_string(::getpid() / 250 % 250) + "." +
                   std::to_string(1 + ::getpid() % 250))
{
    // Nothing listens at the directory's port, so a device is reached by the address that it has.
    m_Folder.Write("config/system.ini",
                   "[System]\nDirectoryServer=127.0.0.1\nDirectoryPort=9\nStandardChroma=1\nRecordPath=" +
                       m_Folder.System("rec") + "\n");
}

CTcpLinksTest::~CTcpLinksTest()
{
    SetRenderFactory({});
    ReleaseRender();
}

std::unique_ptr<CRecorderProcess> CTcpLinksTest::StartRecorder(const std::vector<std::string>& further) const
{
    std::vector<std::string> arguments{"--listen",    m_strAddress, "--control-port", "10060",
                                       "--data-port", "10061",      "--mark",         "--channels",
                                       "2",           "--size",     "176x144"};
    arguments.insert(arguments.end(), further.begin(), further.end());
    return std::make_unique<CRecorderProcess>(arguments);
}

void CTcpLinksTest::Open(CTcpRemote& device, std::int32_t channel) const
{
    device.m_strNetAddress = m_strAddress;
    device.m_iDevID = channel;
    device.Open();
}

ProbedFile ProbeFile(const std::string& path)
{
    const Outcome outcome = Execute(
        "ffprobe -v quiet -count_packets -select_streams v:0 -show_entries "
        "stream=codec_name,width,height,r_frame_rate,nb_read_packets -of csv=p=0 " +
        Quoted(path));
    ProbedFile probed;
    std::string line = outcome.output;
    std::ranges::replace(line, ',', ' ');
    std::istringstream fields(line);
    probed.opens =
        outcome.status == 0 && fields >> probed.codec >> probed.width >> probed.height >> probed.rate;
    fields >> probed.packets;
    return probed;
}

std::vector<std::optional<std::uint32_t>> DecodeNumbers(const std::string& path, std::int32_t width,
                                                        std::int32_t height, std::string& complaints)
{
    const CTestFolder folder;
    const std::string raw = folder.Path("pictures.yuv");
    complaints = Execute("ffmpeg -v error -nostdin -i " + Quoted(path) +
                         " -fps_mode passthrough -f rawvideo -pix_fmt yuv420p " + Quoted(raw))
                     .output;
    std::vector<std::optional<std::uint32_t>> numbers;
    std::ifstream file(raw, std::ios::binary);
    recorder::Picture picture;
    picture.Resize(width, height);
    const auto read = [&file](std::vector<std::uint8_t>& plane) {
        return static_cast<bool>(
            file.read(reinterpret_cast<char*>(plane.data()), static_cast<std::streamsize>(plane.size())));
    };
    while (read(picture.y) && read(picture.u) && read(picture.v)) {
        const auto mark = recorder::ReadMark(picture);
        numbers.push_back(mark ? std::optional(mark->picture) : std::nullopt);
    }
    return numbers;
}

std::vector<std::string> FindRecordings(const std::string& folder)
{
    std::vector<std::string> files;
    std::error_code error;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder, error))
        if (entry.path().extension() == ".avi") files.push_back(entry.path().string());
    std::ranges::sort(files);
    return files;
}
