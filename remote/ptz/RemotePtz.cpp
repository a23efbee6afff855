#include "remote/ptz/RemotePtz.h"

#include "platform/windows/serving.h"
#include "remote/tcp/TextCommand.h"

std::int32_t CRemotePtz::Send(const char* command) const
{
    std::int32_t result = -1;
    RunServing([&result, strAddress = m_strAddress, strCommand = MakeTextCommand(command, m_iDevID)] {
        result = SendTextCommand(strAddress, strCommand);
    });
    return result;
}
