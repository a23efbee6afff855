#include "remote/Station.h"

bool CStation::Connect(const std::string& /*address*/, std::int32_t /*controlPort*/, std::int32_t /*dataPort*/)
{
    return true;
}

bool CStation::Logon(const std::string& /*user*/, const std::string& /*password*/)
{
    return true;
}

bool CStation::SearchRecord(const std::string& /*query*/, std::vector<XTimeSpan>& /*results*/)
{
    return true;
}
