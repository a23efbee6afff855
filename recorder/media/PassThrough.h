#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>

#include "recorder/h264/AnnexB.h"
#include "recorder/h264/Subset.h"
#include "recorder/media/Coded.h"
#include "recorder/media/LibAv.h"

namespace recorder
{

/// Looks at the packets of one opened source, whether clients can have them as they are. One thread at a time.
class PacketCheck
{
  public:
    PacketCheck(const AVCodecParameters& codec, int width, int height);

    h264::Checked Check(const AVPacket& packet);
    /// This one isn't looked at, but what it tells about those to come holds.
    void LeaveOut(const AVPacket& packet);

  private:
    struct FreeFilter {
        void operator()(AVBSFContext* p) const { av_bsf_free(&p); }
    };
    void Describe(const AVCodecParameters& codec);
    void DescribeAnew(const AVCodecParameters& known, std::span<const uint8_t> told);
    bool TakeDescription(const AVPacket& packet);

    std::unique_ptr<AVBSFContext, FreeFilter> m_Filter;  // to units with start codes; null for other codecs
    AvPacket m_Packet{av_packet_alloc()};
    h264::Subset m_Subset;
    h264::Checked m_Outside;  // what stands outside the stream, when that goes beyond
};

struct PassState {
    bool passing = false;
    uint64_t passed = 0;   // pictures that were taken
    uint64_t leftOut = 0;  // of those that could pass, since the network's thread was late
    uint64_t damaged = 0;  // that can't be read, and those behind them up to the next IDR picture
    std::string why;       // what keeps the source from passing: what it has, or what it lacks; else empty
};

/// Lets through either what a camera sends or what was re-encoded, and changes from one to the other at a key
/// picture only. A camera whose pictures stay out for a while, break off again and again, go beyond what
/// clients read, or whose IDR pictures are rare, is re-encoded; the first passes again from its next IDR
/// picture on, the second once it was whole for a while, the others when it was reopened. From any thread.
class PassGate
{
  public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds STALE_AFTER{2'000};
    /// Two breaks within this time make a camera a lossy one, until it was whole for as long.
    static constexpr std::chrono::milliseconds LOSSY_WITHIN{10'000};
    /// A camera that passes must let a recording begin: a later IDR picture isn't waited for.
    static constexpr std::chrono::milliseconds MOST_BETWEEN_KEYS{15'000};
    static constexpr const char* LOSSY = "packets of it are lost again and again";
    static constexpr const char* RARE_IDR = "its IDR pictures are more than 15 seconds apart";
    /// False when the picture wasn't taken: nothing follows before the next key picture. Called with the gate
    /// locked.
    using Deliver = std::function<bool(std::shared_ptr<const Coded>)>;

    explicit PassGate(Deliver deliver) : m_Deliver(std::move(deliver)) {}

    /// From the source: opened, and a picture of it that was looked at. By the latter it may turn out that the
    /// source is to be re-encoded: the reason, when it is another one than before; else empty. So is one that
    /// had no picture that could be read for STALE_AFTER.
    void Opened();
    std::string Take(const h264::Checked& checked, EChecksum checksum, Clock::time_point now);
    /// Nobody watches: the next client begins with what is re-encoded.
    void Rest();

    /// What the next picture is for the encoder: nothing, while the camera's own pass; the first of a
    /// stream of its own, after them; or one more.
    enum class ETurn { Leave, Restart, Code };
    ETurn Turn(Clock::time_point now);
    /// A picture that was re-encoded; it is dropped when the camera's own came meanwhile.
    bool Send(std::shared_ptr<const Coded> coded);
    PassState State() const;

  private:
    // All locked.
    std::string Say(const std::string& why);
    std::string LeaveOut(const std::string& why);
    std::string Wait(const std::string& what, Clock::time_point now);
    std::string Await(const std::string& what, Clock::time_point now);

    Deliver m_Deliver;
    mutable std::mutex m_Mutex;
    PassState m_State;        // guarded
    std::string m_Said;       // guarded; why the source didn't pass, since it did
    bool m_AwaitsKey = true;  // guarded; of the camera's own
    bool m_Behind = false;    // guarded; it does since one wasn't taken
    bool m_Parted = false;  // guarded; clients didn't see the latest that was re-encoded, or not as the latest
    Clock::time_point m_Latest;        // guarded; passed
    Clock::time_point m_Key;           // guarded; the latest IDR picture that passed
    std::string m_Waits;               // guarded; why the latest can't pass, since one could
    Clock::time_point m_WaitsSince{};  // guarded
    bool m_Whole = false;              // guarded; the latest could be read
    bool m_Lossy = false;              // guarded
    // Guarded; when the latest break began, and when a lossy camera had its latest picture that can't be read.
    std::optional<Clock::time_point> m_Broke;
};

}  // namespace recorder
