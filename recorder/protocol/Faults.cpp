#include "recorder/protocol/Faults.h"

#include <algorithm>
#include <utility>

namespace recorder
{

bool XFaultRates::Any() const
{
    return m_dLoss > 0 || m_dReorder > 0 || m_dDuplicate > 0 || m_dGarbage > 0 || m_dWrongLength > 0 ||
           m_iDelay > 0;
}

CFaults::CFaults(const XFaultRates& rates, uint32_t dwSeed) : m_Rates(rates), m_Random(dwSeed) {}

// A draw of its own for every question: the sequence of harm doesn't depend on which rates are set to zero by
// more than their own draws. Percentages are resolved to one in a million.
bool CFaults::Happens(double dPercent)
{
    return dPercent > 0 && Below(100'000'000) < dPercent * 1'000'000;
}

// The library's distributions differ between libraries; a remainder is the same everywhere.
uint32_t CFaults::Below(uint32_t dwBound)
{
    return static_cast<uint32_t>(m_Random() % dwBound);
}

void CFaults::Garble(Bytes& bytes)
{
    ++m_Counts.m_ulGarbled;
    switch (bytes.empty() ? 0 : Below(4)) {
        case 0:  // something else altogether
            bytes.resize(Below(1400));
            for (uint8_t& byte : bytes)
                byte = static_cast<uint8_t>(Below(256));
            break;
        case 1:  // cut off
            bytes.resize(Below(static_cast<uint32_t>(bytes.size())));
            break;
        default:  // some bytes turned over, mostly in the data
            for (uint32_t i = 1 + Below(8); i > 0; --i)
                bytes[Below(static_cast<uint32_t>(bytes.size()))] ^= static_cast<uint8_t>(1 + Below(255));
            break;
    }
}

void CFaults::Pass(TimeUs iNow, XDatagram datagram, std::vector<XDatagram>& ready)
{
    if (Happens(m_Rates.m_dLoss)) {
        ++m_Counts.m_ulLost;
        return;
    }
    if (Happens(m_Rates.m_dGarbage)) Garble(datagram.m_Bytes);
    if (Happens(m_Rates.m_dDuplicate)) {
        ++m_Counts.m_ulDuplicated;
        Deliver(iNow, datagram, ready);
    }
    if (Happens(m_Rates.m_dReorder)) {
        ++m_Counts.m_ulReordered;
        m_Held.push_back({std::move(datagram), 1 + static_cast<int>(Below(3)), iNow + HOLD_AT_MOST});
        return;
    }
    Deliver(iNow, std::move(datagram), ready);
    for (size_t i = 0; i < m_Held.size();) {
        if (--m_Held[i].m_iPasses > 0) {
            ++i;
            continue;
        }
        Deliver(iNow, std::move(m_Held[i].m_Datagram), ready);
        m_Held.erase(m_Held.begin() + static_cast<std::ptrdiff_t>(i));
    }
}

void CFaults::Deliver(TimeUs iNow, XDatagram datagram, std::vector<XDatagram>& ready)
{
    if (m_Rates.m_iDelay == 0)
        ready.push_back(std::move(datagram));
    else if (m_Delayed.size() < MAX_DELAYED)
        m_Delayed.push_back({std::move(datagram), iNow + m_Rates.m_iDelay});
    else
        ++m_Counts.m_ulLost;
}

TimeUs CFaults::Release(TimeUs iNow, std::vector<XDatagram>& ready)
{
    while (!m_Held.empty() && m_Held.front().m_iDue <= iNow) {
        Deliver(iNow, std::move(m_Held.front().m_Datagram), ready);
        m_Held.pop_front();
    }
    while (!m_Delayed.empty() && m_Delayed.front().m_iDue <= iNow) {
        ready.push_back(std::move(m_Delayed.front().m_Datagram));
        m_Delayed.pop_front();
    }
    TimeUs next = NEVER;
    if (!m_Held.empty()) next = m_Held.front().m_iDue;
    if (!m_Delayed.empty()) next = std::min(next, m_Delayed.front().m_iDue);
    return next;
}

uint32_t CFaults::SpoilHeader(uint32_t dwWord)
{
    if (!Happens(m_Rates.m_dWrongLength)) return dwWord;
    ++m_Counts.m_ulWrongLengths;
    XHeaderWord header = UnpackHeader(dwWord);
    switch (Below(3)) {
        case 0:
            header.m_ulLength = Below(1U << 24);
            break;
        case 1:
            header.m_ulLength = Below(header.m_ulLength + 1);
            break;
        default:
            header.m_ulLength += 1 + Below(4096);
            break;
    }
    return PackHeader(header);
}

}  // namespace recorder
