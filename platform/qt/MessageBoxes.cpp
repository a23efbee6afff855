#include "platform/qt/MessageBoxes.h"

#include <string>
#include <utility>
#include <vector>

#include "inc/OutputDebugString.h"
#include "platform/qt/HandlersAtWork.h"
#include "platform/qt/PanelsThread.h"

namespace
{

int g_iForbidden = 0;
int g_iUnwaited = 0;

// One over the other.
std::vector<const CStandingBox*>& Standing()
{
    static auto& boxes = *new std::vector<const CStandingBox*>;
    return boxes;
}

// Never destroyed: a message may come while the process ends.
MessageTeller& Teller()
{
    static auto& teller = *new MessageTeller;
    return teller;
}

void Tell(const std::string& text, const std::string& caption)
{
    if (const MessageTeller teller = Teller())
        teller(text, caption);
    else
        OutputDebugStringA(caption + ": " + text + "\n");
}

}  // namespace

void SetMessageTeller(MessageTeller teller)
{
    ASSERT_PANELS_THREAD();
    Teller() = std::move(teller);
}

CNoMessageBoxes::CNoMessageBoxes()
{
    ASSERT_PANELS_THREAD();
    ++g_iForbidden;
    for (const CStandingBox* box : Standing())
        box->m_LetGo();
}

CNoMessageBoxes::~CNoMessageBoxes()
{
    ASSERT_PANELS_THREAD();
    --g_iForbidden;
}

bool CNoMessageBoxes::IsAny()
{
    ASSERT_PANELS_THREAD();
    return g_iForbidden > 0;
}

CUnwaitedMessageBoxes::CUnwaitedMessageBoxes()
{
    ASSERT_PANELS_THREAD();
    ++g_iUnwaited;
}

CUnwaitedMessageBoxes::~CUnwaitedMessageBoxes()
{
    ASSERT_PANELS_THREAD();
    --g_iUnwaited;
}

bool CUnwaitedMessageBoxes::IsAny()
{
    ASSERT_PANELS_THREAD();
    return g_iUnwaited > 0;
}

CStandingBox::CStandingBox(std::function<void()> letGo) : m_LetGo(std::move(letGo))
{
    ASSERT_PANELS_THREAD();
    Standing().push_back(this);
}

CStandingBox::~CStandingBox()
{
    ASSERT_PANELS_THREAD();
    std::erase(Standing(), this);
}

bool AreMessagesTold()
{
    ASSERT_PANELS_THREAD();
    return Teller() || CNoMessageBoxes::IsAny();
}

bool TellMessage(std::string_view text, std::string_view caption)
{
    ASSERT_PANELS_THREAD();
    if (!AreMessagesTold()) return false;
    auto tell = [text = std::string(text), caption = std::string(caption)] { Tell(text, caption); };
    if (CNoMessageBoxes::IsAny())
        AfterHandlers(std::move(tell));
    else
        tell();
    return true;
}
