#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>

#include "inc/Mutex.h"

/// Frames of many link threads come to the device in the order in which they were ready. The renderer's
/// critical section alone goes to the thread that runs when it becomes free: on a busy machine one stream is
/// then shown again and again while another one's picture waits for seconds. Not recursive. Any thread.
class CFrameTurns
{
  public:
    void Take();
    /// Hands the turn to the thread that has waited for longest. The caller has it.
    void Give();

    /// Threads that wait in Take.
    std::size_t CountWaiting() const;

  private:
    struct Waiter {
        std::condition_variable changed;
        bool turn = false;
    };

    mutable CMutex m_csTurns;  // a leaf lock
    bool m_bTaken GUARDED_BY(m_csTurns) = false;
    std::deque<Waiter*> m_Waiting GUARDED_BY(m_csTurns);
};

/// A turn for the length of a scope.
class CFrameTurn
{
  public:
    explicit CFrameTurn(CFrameTurns& turns) : m_Turns(turns) { m_Turns.Take(); }
    ~CFrameTurn() { m_Turns.Give(); }
    CFrameTurn(const CFrameTurn&) = delete;
    CFrameTurn& operator=(const CFrameTurn&) = delete;

  private:
    CFrameTurns& m_Turns;
};
