#include "remote/ptz/RemotePtz.h"

#include "platform/windows/serving.h"
#include "remote/tcp/TextCommand.h"

std::int32_t CRemotePtz::Send(const char* command) const
{
    std::int32_t result = -1;
    RunServing([&result, address = m_strAddress, text = MakeTextCommand(command, m_iDevID)] {
        result = SendTextCommand(address, text);
    });
    return result;
}
