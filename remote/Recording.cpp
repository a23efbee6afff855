#include "remote/Recording.h"

#include <ctime>
#include <utility>

#include "model/tree/Observer.h"
#include "platform/os/threads.h"
#include "record/FileNames.h"
#include "record/Muxer.h"
#include "record/RecordFolder.h"
#include "record/RecordTable.h"
#include "remote/DeviceState.h"

namespace
{

constexpr std::int32_t AUDIO_PCM_8_BIT = 0x10005;
constexpr std::int32_t AUDIO_BIT_RATE = 64000;
constexpr std::int32_t AUDIO_SAMPLE_RATE = 8000;

// Stops under way in the process; one is admitted. No lock: it is held while observers are told.
constinit std::atomic<std::int32_t> g_iStops = 0;

/// One stop, counted out again however it ends: an observer that fails bars no later stop.
class CStop
{
  public:
    CStop() : m_bAlone(InterlockedIncrement(g_iStops) == 1) {}
    ~CStop() { InterlockedDecrement(g_iStops); }
    CStop(const CStop&) = delete;
    CStop& operator=(const CStop&) = delete;
    bool IsAlone() const { return m_bAlone; }

  private:
    const bool m_bAlone;
};

struct StartDate {
    std::int32_t date = 0;
    std::int32_t time = 0;
};

StartDate LocalDate(std::time_t time)
{
    std::tm parts = {};
    if (localtime_r(&time, &parts) == nullptr) return {};
    return {(parts.tm_year + 1900) * 10000 + (parts.tm_mon + 1) * 100 + parts.tm_mday,
            parts.tm_hour * 3600 + parts.tm_min * 60 + parts.tm_sec};
}

}  // namespace

bool StartRecording(CDeviceState& state, std::int32_t codec, std::int32_t width, std::int32_t height,
                    std::int32_t type, std::string path)
{
    ASSERT_THREAD(state.m_LinkThread);
    if (state.m_iStatus != STATUS_OPEN) return false;
    const std::time_t now = std::time(nullptr);
    state.m_bSaveRecord = path.empty();
    if (state.m_bSaveRecord) path = GetRecordFileName(state.GetName(), now);
    if (path.empty()) {
        Notify(nullptr, "IDS_NoStoragePath");
        return false;
    }
    if (state.m_pMuxer) state.m_pMuxer->Close();
    state.m_pMuxer = std::make_shared<CMuxer>();
    state.m_pMuxer->Open(path, codec, width, height, AUDIO_PCM_8_BIT, AUDIO_BIT_RATE, AUDIO_SAMPLE_RATE);
    if (state.m_bSaveRecord) {
        const StartDate start = LocalDate(now);
        state.m_strSavedFile = std::move(path);
        state.m_iSavedType = type;
        state.m_iSavedDate = start.date;
        state.m_iSavedTime = start.time;
        state.m_dwSavedTick = GetTickCount();
    }
    state.m_iStatus = STATUS_RECORDING;
    state.Tell("IDS_RecordStarted");
    return true;
}

bool StopRecording(CDeviceState& state)
{
    ASSERT_THREAD(state.m_LinkThread);
    const CStop stop;
    if (!stop.IsAlone()) return false;
    if (state.m_iStatus == STATUS_RECORDING) {
        state.m_iStatus = STATUS_OPEN;
        state.Tell("IDS_RecordStopped");
        if (state.m_pMuxer) state.m_pMuxer->Close();
        state.m_pMuxer.reset();
        if (state.m_bSaveRecord) {
            const auto seconds = static_cast<std::int32_t>((GetTickCount() - state.m_dwSavedTick) / 1000);
            InsertRecord({state.GetName(), state.m_strSavedFile, state.m_iSavedDate, state.m_iSavedTime,
                          seconds, state.m_iSavedType});
        }
    }
    return true;
}

void WriteVideo(CDeviceState& state, const std::uint8_t* data, std::int32_t bytes, std::int32_t key)
{
    ASSERT_THREAD(state.m_LinkThread);
    if (state.m_iStatus == STATUS_RECORDING && state.m_pMuxer)
        state.m_pMuxer->WriteVideoPacket(data, bytes, key);
}

void WriteAudio(CDeviceState& state, const std::uint8_t* data, std::int32_t bytes)
{
    ASSERT_THREAD(state.m_LinkThread);
    if (state.m_iStatus == STATUS_RECORDING && state.m_pMuxer) state.m_pMuxer->WriteAudioPacket(data, bytes, 1);
}
