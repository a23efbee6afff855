#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "inc/EntryCheck.h"
#include "inc/Mutex.h"
#include "platform/windows/windows.h"
#include "remote/Relaxed.h"

class CDevice;
class CMuxer;
class CVideoDecoder;

/// A device's status.
inline constexpr std::int32_t STATUS_CLOSED = 0;
inline constexpr std::int32_t STATUS_OPEN = 1;
inline constexpr std::int32_t STATUS_RECORDING = 2;

/// Request bits: a panel sets one, the link thread serves it between two frames and clears it.
inline constexpr std::uint32_t FLAG_SNAPSHOT = 0x04;
inline constexpr std::uint32_t FLAG_START_RECORD = 0x10;
inline constexpr std::uint32_t FLAG_STOP_RECORD = 0x40;

/// What a device shares with its link thread.
///
/// A link thread takes the state as a shared pointer when it starts and reaches the device through nothing
/// else, so a thread that outlives the wait of Close touches no freed memory. A device whose thread did outlive
/// that wait releases the state (CDevice::LeaveStateBehind) and goes on with a new one: the late thread still
/// finds its own m_bRunning clear, gives back its own cell and clears its own status, and can't disturb what
/// was opened after it.
struct CDeviceState {
    explicit CDeviceState(CDevice* device) : m_pDevice(device) {}
    /// Finishes the recording that is open, without a row.
    ~CDeviceState();

    /// Tells the observers of a change to the device; one that is gone, or has released this state, tells
    /// nothing. No lock may be held.
    void Tell(const std::string& message) const EXCLUDES(m_csName);

    /// The device's node name, for the link thread, which may not touch the tree. Any thread.
    std::string GetName() const;
    void SetName(const std::string& name);

    // Panels' thread and link thread, without a lock.
    CRelaxed<std::int32_t> m_iStatus = STATUS_CLOSED;
    CRelaxed<HWND> m_hRenderWnd = HWND::Null;  // the cell that the device draws to
    CRelaxed<bool> m_bRunning = false;         // the link thread runs while this is set
    CRelaxed<std::uint32_t> m_nFlags = 0u;     // request bits
    CRelaxed<CDevice*> m_pDevice;  // whom the state belongs to, to be told apart only; null once released

    [[no_unique_address]] CThreadMark m_LinkThread;  // each link clears it as it begins

    // Link thread only. The pointers are shared ones because these types are complete elsewhere.
    std::shared_ptr<CVideoDecoder> m_pDecoder;  // null when no link runs
    std::uint32_t m_dwRecordTick = 0;           // tick count at the start of the present file, milliseconds
    std::string m_strRecordFile;
    std::string m_strPictureFile;
    std::int32_t m_iRecordType = 0;

    // The open recording; link thread only. All but the muxer and the flag are set only when the flag is.
    std::shared_ptr<CMuxer> m_pMuxer;  // null when no file is open
    std::string m_strSavedFile;
    std::int32_t m_iSavedType = 0;
    std::int32_t m_iSavedDate = 0;    // year * 10000 + month * 100 + day
    std::int32_t m_iSavedTime = 0;    // seconds since midnight
    std::uint32_t m_dwSavedTick = 0;  // tick count at the start, milliseconds
    bool m_bSaveRecord = false;       // a row is to be written when the recording stops

  private:
    mutable CMutex m_csName;  // a leaf lock
    std::string m_strName GUARDED_BY(m_csName);
};
