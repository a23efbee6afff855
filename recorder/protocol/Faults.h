#pragma once

#include <deque>
#include <random>
#include <vector>

#include "recorder/protocol/DatagramOut.h"

namespace recorder
{

// How bad the road is made. Rates are percentages, 0 to 100.
struct XFaultRates {
    double m_dLoss = 0;
    double m_dReorder = 0;  // let overtake by up to three later ones
    double m_dDuplicate = 0;
    double m_dGarbage = 0;      // bytes turned over, cut off, or all at random
    double m_dWrongLength = 0;  // of stream messages whose header word tells another size
    TimeUs m_iDelay = 0;        // of every datagram

    bool Any() const;
};

struct XDatagram {
    XEndpoint m_To;
    Bytes m_Bytes;
};

// Does harm to datagrams on their way out. The same seed and the same sequence of datagrams give the same harm.
// No sockets, no clock; one thread at a time.
class CFaults
{
  public:
    struct XCounts {
        uint64_t m_ulLost = 0;
        uint64_t m_ulReordered = 0;
        uint64_t m_ulDuplicated = 0;
        uint64_t m_ulGarbled = 0;
        uint64_t m_ulWrongLengths = 0;
    };

    CFaults(const XFaultRates& rates, uint32_t dwSeed);

    // Takes one datagram; what may go now is appended to ready, in order.
    void Pass(TimeUs iNow, XDatagram datagram, std::vector<XDatagram>& ready);
    // Appends what has become due; when there is more, or NEVER.
    TimeUs Release(TimeUs iNow, std::vector<XDatagram>& ready);
    // The header word of a stream message as it shall be sent: now and then with a wrong length.
    uint32_t SpoilHeader(uint32_t dwWord);

    const XCounts& Counts() const { return m_Counts; }

  private:
    struct XHeld {
        XDatagram m_Datagram;
        int m_iPasses = 0;  // of later datagrams before it may go
        TimeUs m_iDue = 0;  // when it goes in any case
    };
    struct XDelayed {
        XDatagram m_Datagram;
        TimeUs m_iDue = 0;
    };

    bool Happens(double dPercent);
    uint32_t Below(uint32_t dwBound);
    void Garble(Bytes& bytes);
    void Deliver(TimeUs iNow, XDatagram datagram, std::vector<XDatagram>& ready);

    // A held datagram waits for later ones, but not for ever.
    static constexpr TimeUs HOLD_AT_MOST = 20 * MILLISECOND;
    // What a delay may keep; beyond it datagrams are lost, as in any queue.
    static constexpr size_t MAX_DELAYED = 8192;

    XFaultRates m_Rates;
    std::mt19937 m_Random;
    std::deque<XHeld> m_Held;
    std::deque<XDelayed> m_Delayed;
    XCounts m_Counts;
};

}  // namespace recorder
