#include "tests/remote/tcp/tcp_support.h"

#include <gtest/gtest.h>
#include <poll.h>

extern "C" {
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "codec/codec.h"
#include "remote/tcp/Framing.h"
#include "render/Render.h"

namespace
{

class CScriptedRender final : public CNotingRender
{
  public:
    CScriptedRender(CEvents& events, const std::atomic<EShowing>& showing)
        : CNotingRender(events), m_Showing(showing)
    {
    }
    std::int32_t DisplayClient(const CodecFrame* frame, CSurface* surface, HWND) override
    {
        EXPECT_NE(frame->data[0], nullptr);
        surface->m_Showing = m_Showing;
        m_Events.Add("show");
        return 1;
    }

  private:
    const std::atomic<EShowing>& m_Showing;
};

}  // namespace

std::string Words(const std::vector<std::int32_t>& words)
{
    std::string byteText;
    for (const std::int32_t word : words) {
        std::uint8_t bytes[4];
        SetFrameLength(bytes, word);
        byteText.append(reinterpret_cast<const char*>(bytes), sizeof bytes);
    }
    return byteText;
}

std::vector<std::int32_t> CStreamPeer::Accept()
{
    HangUp();
    m_hClient = m_Listen.Accept();
    std::uint8_t request[16] = {};
    for (std::size_t at = 0; at < sizeof request;) {
        const ssize_t count = ::recv(m_hClient, request + at, sizeof request - at, 0);
        if (count <= 0) return {};
        at += static_cast<std::size_t>(count);
    }
    return {GetFrameLength(request), GetFrameLength(request + 4), GetFrameLength(request + 8),
            GetFrameLength(request + 12)};
}

bool CStreamPeer::AcceptAndReply(std::int32_t width, std::int32_t height)
{
    if (Accept().empty()) return false;
    SendReply(1, width, height);
    return true;
}

void CStreamPeer::SendReply(std::int32_t type, std::int32_t width, std::int32_t height)
{
    SendBytes(Words({24, type, width, height, 7, 0}));
}

void CStreamPeer::SendFrame(std::int32_t type, std::string_view payload)
{
    SendBytes(Words({static_cast<std::int32_t>(payload.size()) + 8, type}) + std::string(payload));
}

void CStreamPeer::SendVideo(const Mpeg4Packet& packet)
{
    SendFrame(0, {reinterpret_cast<const char*>(packet.data()), packet.size()});
}

void CStreamPeer::SendBytes(std::string_view bytes) const
{
    while (!bytes.empty()) {
        const ssize_t count = ::send(m_hClient, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0) return;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

bool CStreamPeer::WaitUntilRead() const
{
    // The kernel's table has a line for each connection: "0: local:port remote:port state sent:unread ...".
    sockaddr_in ours{};
    socklen_t size = sizeof ours;
    ::getsockname(m_hClient, reinterpret_cast<sockaddr*>(&ours), &size);
    char oursText[16];
    std::snprintf(oursText, sizeof oursText, "%08X:%04X", ours.sin_addr.s_addr, ntohs(ours.sin_port));
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < until) {
        std::ifstream table("/proc/net/tcp");
        for (std::string line; std::getline(table, line);) {
            std::istringstream fields(line);
            std::string number, local, remote, state, queues;
            fields >> number >> local >> remote >> state >> queues;
            if (remote == oursText && state == "01" && queues.ends_with(":00000000")) return true;
        }
        std::this_thread::yield();
    }
    return false;
}

bool CStreamPeer::ClientIsGone()
{
    char byte = 0;
    return ::recv(m_hClient, &byte, 1, 0) == 0;
}

void CStreamPeer::HangUp()
{
    if (m_hClient >= 0) ::close(m_hClient);
    m_hClient = -1;
}

void CEvents::Add(const std::string& event)
{
    const std::lock_guard lock(m_cs);
    m_Events.push_back(event);
    m_Changed.notify_all();
}

bool CEvents::WaitFor(const std::string& event, std::size_t count)
{
    std::unique_lock lock(m_cs);
    return m_Changed.wait_for(lock, std::chrono::seconds(10), [&] {
        return static_cast<std::size_t>(std::ranges::count(m_Events, event)) >= count;
    });
}

std::size_t CEvents::CountOf(const std::string& event) const
{
    const std::lock_guard lock(m_cs);
    return static_cast<std::size_t>(std::ranges::count(m_Events, event));
}

std::vector<std::string> CEvents::All() const
{
    const std::lock_guard lock(m_cs);
    return m_Events;
}

CSurface* CNotingRender::CreateSurface(std::int32_t width, std::int32_t height)
{
    m_Events.Add("create " + std::to_string(width) + "x" + std::to_string(height));
    return new CSurface(width, height);
}

void CNotingRender::DestroySurface(CSurface* surface)
{
    delete surface;
    m_Events.Add("destroy");
}

std::int32_t CNotingRender::SaveSnapshot(std::string path, CSurface* /*surface*/)
{
    m_Events.Add("snapshot " + path);
    m_Events.Add("snapshot");
    return 0;
}

CTcpTest::CTcpTest()
{
    // Nothing listens there, so every device is reached by the address that it has.
    m_Folder.Write("config/system.ini",
                   "[System]\r\nDirectoryServer=127.0.0.1\r\nDirectoryPort=9\r\nRecordPath=" +
                       m_Folder.System("rec") + "\r\n");
    SetRenderFactory([this] { return std::make_unique<CScriptedRender>(m_Events, m_Showing); });
    AttachObserver(this);
}

CTcpTest::~CTcpTest()
{
    DetachObserver(this);
    SetRenderFactory({});
    ReleaseRender();
}

std::unique_ptr<CTcpRemote> CTcpTest::MakeDevice(std::int32_t mode, std::int32_t record)
{
    auto device = std::make_unique<CTcpRemote>(mode, record);
    device->SetName("cam1");
    device->m_strNetAddress = m_Peer.Address();
    device->m_iDevID = 3;
    device->GetSetup().clock = &m_Clock;
    m_pDevice = device.get();
    return device;
}

void CTcpTest::OpenAndReply(CTcpRemote& device)
{
    device.Open();
    ASSERT_TRUE(m_Peer.AcceptAndReply());
    ASSERT_TRUE(m_Events.WaitFor("create 176x144"));
}

void CTcpTest::SendAndWait(std::size_t first, std::size_t last)
{
    const std::size_t before = Shown();
    for (std::size_t i = first; i < last; ++i)
        m_Peer.SendVideo(m_Stream[i]);
    ASSERT_TRUE(m_Events.WaitFor("show", before + last - first));
}

std::vector<std::string> CTcpTest::Recordings() const
{
    std::vector<std::string> files;
    std::error_code error;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(m_Folder.Path("rec"), error))
        if (entry.path().extension() == ".avi") files.push_back(entry.path().string());
    std::ranges::sort(files);
    return files;
}

std::vector<std::vector<std::uint8_t>> CTcpTest::ReadAvi(const std::string& path)
{
    std::vector<std::vector<std::uint8_t>> packets;
    AVFormatContext* context = nullptr;
    if (avformat_open_input(&context, path.c_str(), nullptr, nullptr) < 0) return packets;
    AVPacket* packet = av_packet_alloc();
    while (av_read_frame(context, packet) >= 0) {
        packets.emplace_back(packet->data, packet->data + packet->size);
        av_packet_unref(packet);
    }
    av_packet_free(&packet);
    avformat_close_input(&context);
    return packets;
}

void CTcpTest::Update(CNode* node, std::string message)
{
    m_Events.Add((node == m_pDevice ? "tell " : node == nullptr ? "tell nobody " : "tell other ") + message);
}
