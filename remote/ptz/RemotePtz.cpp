#include "remote/ptz/RemotePtz.h"

#include "remote/tcp/TextCommand.h"

std::int32_t CRemotePtz::Send(const char* command) const
{
    return SendTextCommand(m_strAddress, MakeTextCommand(command, m_iDevID));
}
