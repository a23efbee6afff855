#include "render/FrameTurns.h"

#include <cassert>

void CFrameTurns::Take()
{
    CMutexLock lock(m_csTurns);
    if (!m_bTaken) {
        m_bTaken = true;
        return;
    }
    Waiter self;
    m_Waiting.push_back(&self);
    lock.Wait(self.changed, [&self] { return self.turn; });
}

void CFrameTurns::Give()
{
    const CMutexLock lock(m_csTurns);
    assert(m_bTaken && "the caller must have the turn");
    if (m_Waiting.empty()) {
        m_bTaken = false;
        return;
    }
    Waiter& next = *m_Waiting.front();
    m_Waiting.pop_front();
    next.turn = true;
    next.changed.notify_one();  // under the lock: the waiter is gone once it has it
}

std::size_t CFrameTurns::CountWaiting() const
{
    const CMutexLock lock(m_csTurns);
    return m_Waiting.size();
}
