#include "remote/Station.h"

bool CStation::Connect(const std::string& /*address*/, std::int32_t /*controlPort*/, std::int32_t /*dataPort*/)
{
    ASSERT_THREAD(m_PanelsThread);
    return true;
}

bool CStation::Disconnect()
{
    ASSERT_THREAD(m_PanelsThread);
    return true;
}

bool CStation::Logon(const std::string& /*user*/, const std::string& /*password*/)
{
    ASSERT_THREAD(m_PanelsThread);
    return true;
}

std::unique_ptr<CDevices> CStation::EnumDevices()
{
    ASSERT_THREAD(m_PanelsThread);
    return nullptr;
}

bool CStation::SearchRecord(const std::string& /*query*/, std::vector<XTimeSpan>& /*results*/)
{
    ASSERT_THREAD(m_PanelsThread);
    return true;
}
