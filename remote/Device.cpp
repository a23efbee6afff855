#include "remote/Device.h"

#include <utility>

#include "inc/Mutex.h"
#include "model/tree/Observer.h"
#include "record/Muxer.h"
#include "remote/Recording.h"

void CDeviceState::Tell(const std::string& message) const
{
    if (CDevice* const device = m_pDevice) Notify(device, message);
}

CDeviceState::~CDeviceState()
{
    if (m_pMuxer) m_pMuxer->Close();
}

std::string CDeviceState::GetName() const
{
    const CMutexLock lock(m_csName);
    return m_strName;
}

void CDeviceState::SetName(const std::string& name)
{
    const CMutexLock lock(m_csName);
    m_strName = name;
}

CDevice::CDevice() : m_arrayAutoRecordMode(SCHEDULE_SIZE), m_pState(std::make_shared<CDeviceState>(this))
{
    m_bVisible = true;
    m_pState->SetName(m_strNodeName);
}

CDevice::~CDevice()
{
    m_pState->m_pDevice = nullptr;
}

void CDevice::SetName(std::string name)
{
    ASSERT_THREAD(m_PanelsThread);
    CLeaf::SetName(std::move(name));
    m_pState->SetName(m_strNodeName);
}

bool CDevice::StartRecording(std::int32_t codec, std::int32_t width, std::int32_t height, std::int32_t type,
                             std::string path)
{
    return ::StartRecording(*m_pState, codec, width, height, type, std::move(path));
}

bool CDevice::StopRecording()
{
    return ::StopRecording(*m_pState);
}

void CDevice::WriteVideo(const std::uint8_t* data, std::int32_t bytes, std::int32_t key)
{
    ::WriteVideo(*m_pState, data, bytes, key);
}

void CDevice::WriteAudio(const std::uint8_t* data, std::int32_t bytes)
{
    ::WriteAudio(*m_pState, data, bytes);
}

std::int32_t CDevice::SetArray(std::int32_t id, const std::vector<std::int32_t>& values)
{
    ASSERT_THREAD(m_PanelsThread);
    if (id == ARRAY_AUTO_RECORD_MODE) m_arrayAutoRecordMode = values;
    return 1;
}

std::int32_t CDevice::GetArray(std::int32_t id, std::vector<std::int32_t>& values)
{
    ASSERT_THREAD(m_PanelsThread);
    if (id == ARRAY_AUTO_RECORD_MODE) values = m_arrayAutoRecordMode;
    return 1;
}

std::int32_t CDevice::SetParam(std::int32_t id, std::int32_t value)
{
    ASSERT_THREAD(m_PanelsThread);
    switch (id) {
        case PARAM_BEGIN_DATE_TIME:
            m_tBeginDateTime = value;
            break;
        case PARAM_END_DATE_TIME:
            m_tEndDateTime = value;
            break;
        case PARAM_AUTO_RECORD_TYPE:
            m_iAutoRecordType = value;
            break;
        case PARAM_AUTO_RECORD_MODE:
            m_iAutoRecordMode = value;
            break;
        case PARAM_RECORD_MODE_AUTO:
            m_bRecordModeAuto = value;
            break;
        case PARAM_RENDER_WND:
            SetRenderWnd(static_cast<HWND>(value));
            break;
        default:
            return PARAM_UNKNOWN;
    }
    return value;
}

std::int32_t CDevice::GetParam(std::int32_t id)
{
    ASSERT_THREAD(m_PanelsThread);
    switch (id) {
        case PARAM_BEGIN_DATE_TIME:
            return static_cast<std::int32_t>(m_tBeginDateTime);
        case PARAM_END_DATE_TIME:
            return static_cast<std::int32_t>(m_tEndDateTime);
        case PARAM_AUTO_RECORD_TYPE:
            return m_iAutoRecordType;
        case PARAM_AUTO_RECORD_MODE:
            return m_iAutoRecordMode;
        case PARAM_RECORD_MODE_AUTO:
            return m_bRecordModeAuto;
        case PARAM_RENDER_WND:
            return static_cast<std::int32_t>(GetRenderWnd());
        default:
            return PARAM_UNKNOWN;
    }
}

void CDevice::LeaveStateBehind()
{
    ASSERT_THREAD(m_PanelsThread);
    m_pState->m_bRunning = false;
    m_pState->m_pDevice = nullptr;
    m_pState->m_iStatus = STATUS_CLOSED;  // the frame that still comes is not recorded
    const std::uint32_t flags = m_pState->m_nFlags.Exchange(0);
    m_pState = std::make_shared<CDeviceState>(this);
    m_pState->SetName(m_strNodeName);
    m_pState->m_nFlags = flags;  // a request outlives the link that did not come to it
}
