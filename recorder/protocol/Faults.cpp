#include "recorder/protocol/Faults.h"

#include <algorithm>
#include <utility>

namespace recorder
{

bool FaultRates::Any() const
{
    return loss > 0 || reorder > 0 || duplicate > 0 || garbage > 0 || wrongLength > 0 || delay > 0;
}

Faults::Faults(const FaultRates& rates, uint32_t seed) : m_Rates(rates), m_Random(seed) {}

// A draw of its own for every question: the sequence of harm doesn't depend on which rates are set to zero by
// more than their own draws. Percentages are resolved to one in a million.
bool Faults::Happens(double percent)
{
    return percent > 0 && Below(100'000'000) < percent * 1'000'000;
}

// The library's distributions differ between libraries; a remainder is the same everywhere.
uint32_t Faults::Below(uint32_t bound)
{
    return static_cast<uint32_t>(m_Random() % bound);
}

void Faults::Garble(Bytes& bytes)
{
    ++m_Counts.garbled;
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

void Faults::Pass(TimeUs now, Datagram datagram, std::vector<Datagram>& ready)
{
    if (Happens(m_Rates.loss)) {
        ++m_Counts.lost;
        return;
    }
    if (Happens(m_Rates.garbage)) Garble(datagram.bytes);
    if (Happens(m_Rates.duplicate)) {
        ++m_Counts.duplicated;
        Deliver(now, datagram, ready);
    }
    if (Happens(m_Rates.reorder)) {
        ++m_Counts.reordered;
        m_Held.push_back({std::move(datagram), 1 + static_cast<int>(Below(3)), now + HOLD_AT_MOST});
        return;
    }
    Deliver(now, std::move(datagram), ready);
    for (size_t i = 0; i < m_Held.size();) {
        if (--m_Held[i].passes > 0) {
            ++i;
            continue;
        }
        Deliver(now, std::move(m_Held[i].datagram), ready);
        m_Held.erase(m_Held.begin() + static_cast<std::ptrdiff_t>(i));
    }
}

void Faults::Deliver(TimeUs now, Datagram datagram, std::vector<Datagram>& ready)
{
    if (m_Rates.delay == 0)
        ready.push_back(std::move(datagram));
    else if (m_Delayed.size() < MAX_DELAYED)
        m_Delayed.push_back({std::move(datagram), now + m_Rates.delay});
    else
        ++m_Counts.lost;
}

TimeUs Faults::Release(TimeUs now, std::vector<Datagram>& ready)
{
    while (!m_Held.empty() && m_Held.front().due <= now) {
        Deliver(now, std::move(m_Held.front().datagram), ready);
        m_Held.pop_front();
    }
    while (!m_Delayed.empty() && m_Delayed.front().due <= now) {
        ready.push_back(std::move(m_Delayed.front().datagram));
        m_Delayed.pop_front();
    }
    TimeUs next = NEVER;
    if (!m_Held.empty()) next = m_Held.front().due;
    if (!m_Delayed.empty()) next = std::min(next, m_Delayed.front().due);
    return next;
}

uint32_t Faults::SpoilHeader(uint32_t word)
{
    if (!Happens(m_Rates.wrongLength)) return word;
    ++m_Counts.wrongLengths;
    HeaderWord header = UnpackHeader(word);
    switch (Below(3)) {
        case 0:
            header.length = Below(1U << 24);
            break;
        case 1:
            header.length = Below(header.length + 1);
            break;
        default:
            header.length += 1 + Below(4096);
            break;
    }
    return PackHeader(header);
}

}  // namespace recorder
