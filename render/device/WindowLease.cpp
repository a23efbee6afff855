#include "render/device/WindowLease.h"

#include <atomic>
#include <map>

struct CWindowLease::LOAN {
    std::mutex m_csFrame;  // held for the time of a frame, or while the two below change
    std::uint64_t m_ulNumber = 0;
    // Also cleared ahead of the wait for m_csFrame, so that no further frame begins.
    std::atomic<std::uintptr_t> m_ulWindow{0};
};

namespace
{

struct XLeases {
    std::mutex m_csLeases;  // a leaf lock
    std::map<HWND, std::shared_ptr<CWindowLease::LOAN>> m_Loans;
    std::uint64_t m_ulLendings = 0;
};

XLeases& Leases()
{
    static auto* const leases = new XLeases;  // to process end: a late link thread still asks
    return *leases;
}

}  // namespace

CWindowLease::CWindowLease(HWND window) : m_hWindow(window), m_pLoan(std::make_shared<LOAN>())
{
    XLeases& leases = Leases();
    const std::lock_guard lock(leases.m_csLeases);
    leases.m_Loans[window] = m_pLoan;
}

CWindowLease::~CWindowLease()
{
    TakeBack();
    XLeases& leases = Leases();
    const std::lock_guard lock(leases.m_csLeases);
    leases.m_Loans.erase(m_hWindow);
}

void CWindowLease::Lend(std::uintptr_t systemWindow)
{
    if (m_pLoan->m_ulWindow == systemWindow) return;
    TakeBack();
    XLeases& leases = Leases();
    std::uint64_t number = 0;
    {
        const std::lock_guard lock(leases.m_csLeases);
        number = ++leases.m_ulLendings;
    }
    const std::lock_guard frame(m_pLoan->m_csFrame);
    m_pLoan->m_ulNumber = number;
    m_pLoan->m_ulWindow = systemWindow;
}

void CWindowLease::TakeBack()
{
    m_pLoan->m_ulWindow = 0;
    const std::lock_guard frame(m_pLoan->m_csFrame);
}

CWindowHold::CWindowHold(HWND window)
{
    XLeases& leases = Leases();
    {
        const std::lock_guard lock(leases.m_csLeases);
        const auto found = leases.m_Loans.find(window);
        if (found != leases.m_Loans.end()) m_pLoan = found->second;
    }
    if (m_pLoan == nullptr) return;
    m_Frame = std::unique_lock(m_pLoan->m_csFrame);
    m_ulWindow = m_pLoan->m_ulWindow;
    m_ulNumber = m_pLoan->m_ulNumber;
    if (m_ulWindow == 0) m_Frame.unlock();
}
