#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "inc/EntryCheck.h"
#include "model/archive/NamedValue.h"
#include "remote/DeviceState.h"
#include "remote/IDevice.h"

/// What the merging of channels notes about a device (see ChannelMerge.h).
struct ChannelInfo {
    std::string address;
    std::int32_t serial = -1;            // running number of the merge, over all devices
    std::array<bool, 5> capabilities{};  // bits 0, 1, 2, 9 and 10 of the capability word
};

/// Recording parameters and state of a device, with no transport behind it.
class CDevice : public IDevice
{
  public:
    static constexpr std::size_t SCHEDULE_SIZE = 168;

    CDevice();
    /// The destructor of a class with a link thread first calls LeaveFolder, makes every wait of the thread end
    /// and joins it.
    ~CDevice() override;

    void SetName(std::string name) override;
    void SetStatus(std::int32_t status) override { GetState()->m_iStatus = status; }
    std::int32_t GetStatus() override { return GetState()->m_iStatus; }
    void Open() override {}
    void Close() override {}
    void StartRecord(std::int32_t /*reason*/) override {}
    void StopRecord(std::int32_t /*reason*/) override {}
    void SnapShot() override {}
    std::int32_t Slot13() override { return 0; }
    std::int32_t Slot14() override { return 0; }
    void Slot15() override {}
    void Slot16() override {}
    std::int32_t SetArray(std::int32_t id, const std::vector<std::int32_t>& values) override;
    std::int32_t SetParam(std::int32_t id, std::int32_t value) override;
    std::int32_t GetArray(std::int32_t id, std::vector<std::int32_t>& values) override;
    std::int32_t GetParam(std::int32_t id) override;
    IPtz* GetPtz() override { return nullptr; }
    void Slot22(std::int32_t /*first*/, std::int32_t /*second*/) override {}
    bool Slot23() override { return false; }
    bool CanRecord() override { return false; }
    bool Slot25() override { return false; }
    bool Slot26() override { return false; }
    bool Slot27() override { return false; }
    void Slot28() override {}

    /// Tells the link thread to end and wakes it, without waiting for it: Close follows. Whoever closes many
    /// devices tells them all first, so that they end side by side.
    virtual void LetGo() { GetState()->m_bRunning = false; }

    /// The cell's window, for a panel that sets it without SetParam: a class may answer 0 to that.
    HWND GetRenderWnd() const { return GetState()->m_hRenderWnd; }
    void SetRenderWnd(HWND window) { GetState()->m_hRenderWnd = window; }

    /// See Recording.h. A device's own link thread does this through the state.
    bool StartRecording(std::int32_t codec, std::int32_t width, std::int32_t height, std::int32_t type,
                        std::string path);
    bool StopRecording();
    void WriteVideo(const std::uint8_t* data, std::int32_t bytes, std::int32_t key);
    void WriteAudio(const std::uint8_t* data, std::int32_t bytes);

    /// What the device shares with its link thread. Never null. The pointer itself is the panels' thread's: a
    /// link thread is given it when it starts.
    const std::shared_ptr<CDeviceState>& GetState() const
    {
        ASSERT_THREAD(m_PanelsThread);
        return m_pState;
    }

    template <class Archive>
    void Serialize(Archive& archive)
    {
        CLeaf::Serialize(archive);
        archive& Named("m_bRecordModeAuto", m_bRecordModeAuto) & Named("m_iAutoRecordMode", m_iAutoRecordMode) &
            Named("m_iAutoRecordType", m_iAutoRecordType) & Named("m_tBeginDateTime", m_tBeginDateTime) &
            Named("m_tEndDateTime", m_tEndDateTime) & Named("m_arrayAutoRecordMode", m_arrayAutoRecordMode);
    }

    std::int32_t m_iNetID = -1;          // net id of the machine
    std::int32_t m_iDevID = -1;          // channel number, from 0
    ChannelInfo m_Channel;               // not saved
    std::int32_t m_bRecordModeAuto = 1;  // automatic recording on
    std::int32_t m_iAutoRecordMode = 1;  // mode and type of automatic recording
    std::int32_t m_iAutoRecordType = 0;
    std::vector<std::int32_t> m_arrayAutoRecordMode;  // its schedule
    std::int64_t m_tBeginDateTime = 0;                // its period, seconds since 1970
    std::int64_t m_tEndDateTime = 0;

  protected:
    /// Leaves the state, closed and without requests, to a link thread that outlived the wait of Close and goes
    /// on with a new one: closed, with the requests, without a cell, which is the late thread's to give back.
    void LeaveStateBehind();

    [[no_unique_address]] mutable CThreadMark m_PanelsThread;

  private:
    std::shared_ptr<CDeviceState> m_pState;
};
