#include "remote/LinkThreads.h"

#include <utility>

bool CLinkThreads::Start(std::shared_ptr<ILink> link, const char* name)
{
    ASSERT_THREAD(m_PanelsThread);
    PutAside(0);
    EndLate();
    m_Present.thread = CreateThread([link] { link->Run(); }, name);
    if (m_Present.thread == nullptr) return false;
    m_Present.link = std::move(link);
    return true;
}

void CLinkThreads::Cancel()
{
    ASSERT_THREAD(m_PanelsThread);
    if (m_Present.link) m_Present.link->Cancel();
}

bool CLinkThreads::PutAside(std::uint32_t waitMs)
{
    ASSERT_THREAD(m_PanelsThread);
    if (m_Present.thread == nullptr) return true;
    const bool late = WaitForSingleObject(m_Present.thread, waitMs) == WAIT_TIMEOUT;
    const Run run = std::exchange(m_Present, {});
    if (late)
        m_Late.push_back(run);
    else
        CloseHandle(run.thread);
    return !late;
}

void CLinkThreads::EndLate()
{
    ASSERT_THREAD(m_PanelsThread);
    for (const Run& late : std::exchange(m_Late, {})) {
        late.link->Cancel();
        WaitForSingleObject(late.thread, INFINITE);
        CloseHandle(late.thread);
    }
}
