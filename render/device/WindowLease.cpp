#include "render/device/WindowLease.h"

#include <atomic>
#include <map>

#include "inc/Mutex.h"

struct CWindowLease::Loan {
    CMutex frameLock;  // held for the time of a frame, or while the two below change
    std::uint64_t number GUARDED_BY(frameLock) = 0;
    // Also cleared ahead of the wait for frameLock, so that no further frame begins.
    std::atomic<std::uintptr_t> window{0};
};

namespace
{

struct LeaseTable {
    CMutex leasesLock;  // a leaf lock
    std::map<HWND, std::shared_ptr<CWindowLease::Loan>> loans GUARDED_BY(leasesLock);
    std::uint64_t lendings GUARDED_BY(leasesLock) = 0;
};

LeaseTable& Leases()
{
    static auto* const leases = new LeaseTable;  // to process end: a late link thread still asks
    return *leases;
}

}  // namespace

CWindowLease::CWindowLease(HWND window) : m_hWindow(window), m_pLoan(std::make_shared<Loan>())
{
    LeaseTable& leases = Leases();
    const CMutexLock lock(leases.leasesLock);
    leases.loans[window] = m_pLoan;
}

CWindowLease::~CWindowLease()
{
    TakeBack();
    LeaseTable& leases = Leases();
    const CMutexLock lock(leases.leasesLock);
    leases.loans.erase(m_hWindow);
}

void CWindowLease::Lend(std::uintptr_t systemWindow)
{
    ASSERT_THREAD(m_OwnersThread);
    if (m_pLoan->window == systemWindow) return;
    TakeBack();
    LeaseTable& leases = Leases();
    std::uint64_t number = 0;
    {
        const CMutexLock lock(leases.leasesLock);
        number = ++leases.lendings;
    }
    const CMutexLock frame(m_pLoan->frameLock);
    m_pLoan->number = number;
    m_pLoan->window = systemWindow;
}

void CWindowLease::TakeBack()
{
    ASSERT_THREAD(m_OwnersThread);
    m_pLoan->window = 0;
    const CMutexLock frame(m_pLoan->frameLock);
}

bool CWindowLease::Stands(HWND window)
{
    LeaseTable& leases = Leases();
    const CMutexLock lock(leases.leasesLock);
    return leases.loans.contains(window);
}

CWindowHold::CWindowHold(HWND window) NO_THREAD_SAFETY_ANALYSIS  // held until the end
{
    LeaseTable& leases = Leases();
    {
        const CMutexLock lock(leases.leasesLock);
        const auto found = leases.loans.find(window);
        if (found != leases.loans.end()) m_pLoan = found->second;
    }
    if (m_pLoan == nullptr) return;
    m_Frame = std::unique_lock(m_pLoan->frameLock);
    m_Window = m_pLoan->window;
    m_Number = m_pLoan->number;
    if (m_Window == 0) m_Frame.unlock();
}
