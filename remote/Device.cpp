#include "remote/Device.h"

#include "model/tree/Observer.h"

void XDeviceState::Tell(const std::string& message) const
{
    if (CDevice* const device = m_pDevice) Notify(device, message);
}

CDevice::CDevice() : m_arrayAutoRecordMode(SCHEDULE_SIZE), m_pState(std::make_shared<XDeviceState>(this))
{
    m_bVisible = true;
}

CDevice::~CDevice()
{
    m_pState->m_pDevice = nullptr;
}

std::int32_t CDevice::SetArray(std::int32_t id, const std::vector<std::int32_t>& values)
{
    if (id == ARRAY_AUTO_RECORD_MODE) m_arrayAutoRecordMode = values;
    return 1;
}

std::int32_t CDevice::GetArray(std::int32_t id, std::vector<std::int32_t>& values)
{
    if (id == ARRAY_AUTO_RECORD_MODE) values = m_arrayAutoRecordMode;
    return 1;
}

std::int32_t CDevice::SetParam(std::int32_t id, std::int32_t value)
{
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
    m_pState->m_bRunning = false;
    m_pState->m_pDevice = nullptr;
    m_pState = std::make_shared<XDeviceState>(this);
}
