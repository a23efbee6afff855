#include "remote/tcp/TextCommand.h"

#include "platform/os/Socket.h"
#include "remote/tcp/Framing.h"

std::int32_t SendTextCommand(const std::string& strAddress, std::string_view strText)
{
    CSocket socket;
    if (!socket.Create()) return -1;
    if (socket.Connect(strAddress, CONTROL_PORT)) SendTextFrame(socket.GetHandle(), strText);
    return 0;
}

std::string MakeTextCommand(const char* szName, std::int32_t iDevID)
{
    return std::string(szName) + ":" + std::to_string(iDevID);
}

std::string MakeTextCommand(const char* szName, std::int32_t iDevID, std::int32_t iValue)
{
    return MakeTextCommand(szName, iDevID) + ":" + std::to_string(iValue);
}
