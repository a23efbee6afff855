#include "remote/LinkThreads.h"

#include <utility>

bool CLinkThreads::Start(std::shared_ptr<ILink> link, const char* szName)
{
    PutAside(0);
    EndLate();
    m_Present.thread = CreateThread(
        [link] {
            link->Run();
            return 0U;
        },
        szName);
    if (m_Present.thread == nullptr) return false;
    m_Present.link = std::move(link);
    return true;
}

void CLinkThreads::Cancel()
{
    if (m_Present.link) m_Present.link->Cancel();
}

bool CLinkThreads::PutAside(std::uint32_t ulWaitMs)
{
    if (m_Present.thread == nullptr) return true;
    const bool bLate = WaitForSingleObject(m_Present.thread, ulWaitMs) == WAIT_TIMEOUT;
    m_Late.push_back(std::exchange(m_Present, {}));
    return !bLate;
}

void CLinkThreads::EndLate()
{
    for (const Run& late : std::exchange(m_Late, {})) {
        late.link->Cancel();
        WaitForSingleObject(late.thread, INFINITE);
        CloseHandle(late.thread);
    }
}
