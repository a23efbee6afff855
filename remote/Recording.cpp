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

bool StartRecording(XDeviceState& state, std::int32_t iCodec, std::int32_t iWidth, std::int32_t iHeight,
                    std::int32_t iType, std::string strPath)
{
    if (state.m_iStatus != STATUS_OPEN) return false;
    const std::time_t now = std::time(nullptr);
    state.m_bSaveRecord = strPath.empty();
    if (state.m_bSaveRecord) strPath = GetRecordFileName(state.GetName(), now);
    if (strPath.empty()) {
        Notify(nullptr, "IDS_NoStoragePath");
        return false;
    }
    if (state.m_pMuxer) state.m_pMuxer->Close();
    state.m_pMuxer = std::make_shared<CMuxer>();
    state.m_pMuxer->Open(strPath, iCodec, iWidth, iHeight, AUDIO_PCM_8_BIT, AUDIO_BIT_RATE, AUDIO_SAMPLE_RATE);
    if (state.m_bSaveRecord) {
        const StartDate start = LocalDate(now);
        state.m_strSavedFile = std::move(strPath);
        state.m_iSavedType = iType;
        state.m_iSavedDate = start.date;
        state.m_iSavedTime = start.time;
        state.m_dwSavedTick = GetTickCount();
    }
    state.m_iStatus = STATUS_RECORDING;
    state.Tell("IDS_RecordStarted");
    return true;
}

bool StopRecording(XDeviceState& state)
{
    if (InterlockedIncrement(g_iStops) != 1) {
        InterlockedDecrement(g_iStops);
        return false;
    }
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
    InterlockedDecrement(g_iStops);
    return true;
}

void WriteVideo(XDeviceState& state, const std::uint8_t* data, std::int32_t iBytes, std::int32_t iKey)
{
    if (state.m_iStatus == STATUS_RECORDING && state.m_pMuxer)
        state.m_pMuxer->WriteVideoPacket(data, iBytes, iKey);
}

void WriteAudio(XDeviceState& state, const std::uint8_t* data, std::int32_t iBytes)
{
    if (state.m_iStatus == STATUS_RECORDING && state.m_pMuxer)
        state.m_pMuxer->WriteAudioPacket(data, iBytes, 1);
}
