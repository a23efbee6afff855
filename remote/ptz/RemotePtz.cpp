#include "remote/ptz/RemotePtz.h"

#include "remote/tcp/TextCommand.h"

std::int32_t CRemotePtz::Send(const char* szCommand) const
{
    return SendTextCommand(m_strAddress, MakeTextCommand(szCommand, m_iDevID));
}
