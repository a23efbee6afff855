#include "remote/tcp/TextCommand.h"

#include "platform/os/Socket.h"
#include "remote/tcp/Framing.h"

std::int32_t SendTextCommand(const std::string& address, std::string_view text)
{
    CSocket socket;
    if (!socket.Create()) return -1;
    if (socket.Connect(address, CONTROL_PORT)) SendTextFrame(socket.GetHandle(), text);
    return 0;
}

std::string MakeTextCommand(const char* name, std::int32_t devID)
{
    return std::string(name) + ":" + std::to_string(devID);
}

std::string MakeTextCommand(const char* name, std::int32_t devID, std::int32_t value)
{
    return MakeTextCommand(name, devID) + ":" + std::to_string(value);
}
