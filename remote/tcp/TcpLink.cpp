#include "remote/tcp/TcpLink.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <string>
#include <utility>

#include "codec/decoder.h"
#include "inc/OutputDebugString.h"
#include "model/settings/SystemSettings.h"
#include "platform/os/paths.h"
#include "record/FileNames.h"
#include "record/Muxer.h"
#include "remote/Recording.h"
#include "remote/link/LinkGuard.h"
#include "remote/tcp/Framing.h"

namespace
{

constexpr std::int32_t REQUEST_BYTES = 16;
constexpr std::int32_t REPLY_BYTES = 24;
constexpr std::int32_t REPLY_TYPE = 1;
constexpr std::int32_t TYPE_VIDEO = 0;
constexpr std::int32_t TYPE_NOTHING = 1;

std::int32_t Word(const std::uint8_t* data)
{
    return GetFrameLength(data);
}

}  // namespace

CTcpLink::CTcpLink(std::shared_ptr<CDeviceState> state, std::shared_ptr<CLinkCounters> counters, SOCKET socket,
                   const TcpLinkSetup& setup)
    : m_pState(std::move(state)),
      m_pCounters(std::move(counters)),
      m_socket(socket),
      m_Setup(setup),
      m_Picture(m_pState, m_pCounters, *setup.clock)
{
}

CTcpLink::~CTcpLink()
{
    CloseSocket();
}

void CTcpLink::Cancel()
{
    m_bCancel.store(true, std::memory_order_relaxed);
    const CMutexLock lock(m_csSocket);
    if (m_bSocketOpen) EndBlockedCalls(m_socket);
}

void CTcpLink::Run()
{
    m_pState->m_LinkThread.Clear();
    RunGuarded(
        "CTcpLink::Run", [this] { return m_pState->GetName(); }, [this] { Receive(); });
    CleanUp();
}

void CTcpLink::Receive()
{
    ASSERT_THREAD(m_pState->m_LinkThread);
    if (!Logon() || !OpenPicture()) return;
    const timeval limit{LINK_WAIT_MS / 1000, 0};
    setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    while (m_pState->m_bRunning && !m_bCancel.load(std::memory_order_relaxed)) {
        pollfd readable = {m_socket, POLLIN, 0};
        const int ready = ::poll(&readable, 1, LINK_WAIT_MS);
        if (ready < 0 && errno != EINTR) return;
        if (ready > 0 && !TakeFrame()) return;
        if (ready == 0) FlushRecording();
    }
}

/// Sends the request and reads the reply; false ends the link.
bool CTcpLink::Logon()
{
    ASSERT_THREAD(m_pState->m_LinkThread);
    const bool playback = m_Setup.mode == MODE_PLAYBACK;
    const std::int32_t words[] = {REQUEST_BYTES, m_Setup.mode, playback ? m_Setup.record : -1,
                                  playback ? 0 : m_Setup.channel};
    std::uint8_t request[REQUEST_BYTES];
    for (std::size_t i = 0; i < std::size(words); ++i)
        SetFrameLength(request + 4 * i, words[i]);
    if (SendLinkFrame(m_socket, request) == 0) return false;
    const std::int32_t length = RecvFrame(m_socket, std::span(m_Buffer).first(LINK_FRAME_LIMIT));
    if (length != REPLY_BYTES)
        OutputDebugStringA("reply of " + std::to_string(length) + " bytes to a stream request, not " +
                           std::to_string(REPLY_BYTES) + "\n");
    // Words that a short reply lacks are 0, as the buffer was.
    if (length == 0 || Word(&m_Buffer[4]) != REPLY_TYPE) return false;
    m_iWidth = Word(&m_Buffer[8]);
    m_iHeight = Word(&m_Buffer[12]);
    m_iThirdValue = Word(&m_Buffer[16]);
    return true;
}

/// Makes decoder and surface; false in a mode that streams nothing.
bool CTcpLink::OpenPicture()
{
    ASSERT_THREAD(m_pState->m_LinkThread);
    const bool h264 = m_Setup.mode == MODE_LIVE_H264;
    if (!h264 && m_Setup.mode != MODE_LIVE_MPEG4 && m_Setup.mode != MODE_PLAYBACK) return false;
    m_iCodec = h264 ? CODEC_ID_H264 : CODEC_ID_MPEG4;
    m_Picture.Open(m_iCodec, m_iWidth, m_iHeight, m_pState->GetName());
    return true;
}

/// Reads one frame and does what it asks for; false ends the link.
bool CTcpLink::TakeFrame()
{
    ASSERT_THREAD(m_pState->m_LinkThread);
    // A peer may stand still in mid-frame for as long as it likes.
    const std::int32_t length = RecvFrame(m_socket, std::span(m_Buffer).first(LINK_FRAME_LIMIT), [this] {
        if (m_pState->m_pMuxer) m_pState->m_pMuxer->FlushWhenDue();
    });
    if (length == 0) return false;
    CLinkCounters::Count(m_pCounters->datagrams);
    ServeFlags();
    if (length < HEADER_BYTES) {  // no type, and so nothing to decode
        FlushRecording();
        return true;
    }
    CLinkCounters::Count(m_pCounters->bytes, static_cast<std::uint64_t>(length));
    const std::int32_t type = Word(&m_Buffer[4]);
    if (type == TYPE_VIDEO)
        Show(length);
    else
        FlushRecording();
    return type == TYPE_VIDEO || type == TYPE_NOTHING;
}

void CTcpLink::ServeFlags()
{
    ASSERT_THREAD(m_pState->m_LinkThread);
    // Each is looked at anew: what comes while one is served, from an observer of a stop for one, is served
    // with this frame.
    const auto asked = [this](std::uint32_t flag) { return (m_pState->m_nFlags & flag) != 0; };
    if (asked(FLAG_SNAPSHOT)) TakeSnapshot();
    if (asked(FLAG_STOP_RECORD)) StopRecord();
    if (asked(FLAG_START_RECORD)) StartRecord();
}

void CTcpLink::TakeSnapshot()
{
    ASSERT_THREAD(m_pState->m_LinkThread);
    // oddity: snapshot-path-joined. Both settings stand one after the other, with nothing between them.
    const std::string path = ReadSettingText(ESetting::PicturePath) + GetSnapshotFileName(m_pState->GetName());
    m_pState->m_strPictureFile = path;
    MakeSureDirectoryPathExists(path);
    m_pState->m_nFlags.ClearBits(FLAG_SNAPSHOT);
    m_Picture.SaveSnapshot(path);
}

void CTcpLink::StopRecord()
{
    ASSERT_THREAD(m_pState->m_LinkThread);
    if (!m_Setup.canRecord || StopRecording(*m_pState)) m_pState->m_nFlags.ClearBits(FLAG_STOP_RECORD);
}

void CTcpLink::StartRecord()
{
    ASSERT_THREAD(m_pState->m_LinkThread);
    m_pState->m_nFlags.ClearBits(FLAG_START_RECORD);
    if (!m_Setup.canRecord) return;
    const std::string path =
        GetLinkRecordFileName(ReadSettingText(ESetting::RecordPath), m_pState->GetName(), std::time(nullptr));
    m_pState->m_strRecordFile = path;
    MakeSureDirectoryPathExists(path);
    if (StartRecording(*m_pState, m_iCodec, m_iWidth, m_iHeight, m_pState->m_iRecordType, path)) {
        m_pState->m_dwRecordTick = m_Setup.clock->TickCount();
    } else {
        m_pState->m_nFlags.SetBits(FLAG_START_RECORD);
    }
}

/// Decodes, records and draws the payload of the frame in the buffer.
void CTcpLink::Show(std::int32_t length)
{
    ASSERT_THREAD(m_pState->m_LinkThread);
    // oddity: size-counts-header. The frame's length counts the header too: decoder and file are fed 8 bytes
    // more, zeros.
    const std::uint8_t* const payload = &m_Buffer[HEADER_BYTES];
    std::fill_n(&m_Buffer[static_cast<std::size_t>(length)], TRAILING_BYTES, std::uint8_t{0});
    CLinkCounters::Count(m_pCounters->messages);
    const CodecFrame* const frame = m_Picture.Decode(payload, length);
    if (frame == nullptr || frame->data[0] == nullptr) {
        CLinkCounters::Count(m_pCounters->refused);
        FlushRecording();
        return;
    }
    CLinkCounters::Count(m_pCounters->decoded);
    if (m_pState->m_iStatus == STATUS_RECORDING) {
        WriteVideo(*m_pState, payload, length, frame->key_frame);
        CheckRollover(*m_pState, m_Setup.clock->TickCount(), m_Setup.rolloverMs);
    }
    m_Picture.Show(*frame);
}

/// For a stream that brings no picture, which would take what was recorded to the disk.
void CTcpLink::FlushRecording()
{
    ASSERT_THREAD(m_pState->m_LinkThread);
    if (m_pState->m_pMuxer) m_pState->m_pMuxer->Flush();
}

void CTcpLink::CleanUp()
{
    ASSERT_THREAD(m_pState->m_LinkThread);
    CloseSocket();
    FlushRecording();
    m_Picture.Close();
}

void CTcpLink::CloseSocket()
{
    const CMutexLock lock(m_csSocket);
    if (m_bSocketOpen) closesocket(m_socket);
    m_bSocketOpen = false;
}
