#pragma once

#include <deque>
#include <random>
#include <vector>

#include "recorder/protocol/DatagramOut.h"

namespace recorder
{

/// How bad the network is made. Rates are percentages, 0 to 100.
struct FaultRates {
    double loss = 0;
    double reorder = 0;  // let overtake by up to three later ones
    double duplicate = 0;
    double garbage = 0;      // bytes turned over, cut off, or all at random
    double wrongLength = 0;  // of stream messages whose header word tells another size
    TimeUs delay = 0;        // of every datagram

    bool Any() const;
};

struct Datagram {
    Endpoint to;
    Bytes bytes;
};

/// Does harm to datagrams on their way out. The same seed and the same sequence of datagrams give the same
/// harm. No sockets, no clock; one thread at a time.
class Faults
{
  public:
    struct Counters {
        uint64_t lost = 0;
        uint64_t reordered = 0;
        uint64_t duplicated = 0;
        uint64_t garbled = 0;
        uint64_t wrongLengths = 0;
    };

    Faults(const FaultRates& rates, uint32_t seed);

    /// Takes one datagram; what may go now is appended to ready, in order.
    void Pass(TimeUs now, Datagram datagram, std::vector<Datagram>& ready);
    /// Appends what has become due; when there is more, or NEVER.
    TimeUs Release(TimeUs now, std::vector<Datagram>& ready);
    /// The header word of a stream message as it shall be sent: now and then with a wrong length.
    uint32_t SpoilHeader(uint32_t word);

    const Counters& Counts() const { return m_Counts; }

  private:
    struct Held {
        Datagram datagram;
        int passes = 0;  // of later datagrams before it may go
        TimeUs due = 0;  // when it goes in any case
    };
    struct Delayed {
        Datagram datagram;
        TimeUs due = 0;
    };

    bool Happens(double percent);
    uint32_t Below(uint32_t bound);
    void Garble(Bytes& bytes);
    void Deliver(TimeUs now, Datagram datagram, std::vector<Datagram>& ready);

    // A held datagram waits for later ones, but not indefinitely.
    static constexpr TimeUs HOLD_AT_MOST = 20 * MILLISECOND;
    // What a delay may keep; beyond it datagrams are lost, as in any queue.
    static constexpr size_t MAX_DELAYED = 8192;

    FaultRates m_Rates;
    std::mt19937 m_Random;
    std::deque<Held> m_Held;
    std::deque<Delayed> m_Delayed;
    Counters m_Counts;
};

}  // namespace recorder
