#include "platform/qt/MessageBoxes.h"

#include <string>
#include <utility>

#include "inc/OutputDebugString.h"

namespace
{

int g_iForbidden = 0;

// Never destroyed: a message may come while the process ends.
MessageTeller& Teller()
{
    static auto& teller = *new MessageTeller;
    return teller;
}

}  // namespace

void SetMessageTeller(MessageTeller teller)
{
    Teller() = std::move(teller);
}

CNoMessageBoxes::CNoMessageBoxes()
{
    ++g_iForbidden;
}

CNoMessageBoxes::~CNoMessageBoxes()
{
    --g_iForbidden;
}

bool TellMessage(std::string_view text, std::string_view caption)
{
    if (const MessageTeller teller = Teller()) {
        teller(text, caption);
        return true;
    }
    if (g_iForbidden == 0) return false;
    OutputDebugStringA(std::string(caption) + ": " + std::string(text) + "\n");
    return true;
}
