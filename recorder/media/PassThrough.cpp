#include "recorder/media/PassThrough.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <utility>

#include "recorder/media/CodecStream.h"

namespace recorder
{

namespace
{

// What a checksum adds to a picture's units, and its announcement.
constexpr size_t CHECKSUM_BYTES = 128;

}  // namespace

PacketCheck::PacketCheck(const AVCodecParameters& codec, int width, int height)
    : m_Subset(width, height, MAX_H264_BYTES - CHECKSUM_BYTES)
{
    if (codec.codec_id != AV_CODEC_ID_H264) return;
    Describe(codec);
    m_Subset.Restart();
}

void PacketCheck::Describe(const AVCodecParameters& codec)
{
    AVBSFContext* filter = nullptr;
    CheckAv(av_bsf_alloc(av_bsf_get_by_name("h264_mp4toannexb"), &filter), "read H.264");
    std::unique_ptr<AVBSFContext, FreeFilter> owner(filter);
    CheckAv(avcodec_parameters_copy(filter->par_in, &codec), "read H.264");
    CheckAv(av_bsf_init(filter), "read H.264");
    m_Filter = std::move(owner);
    // Parameter sets may come outside the stream, and only there.
    const AVCodecParameters& units = *filter->par_out;
    m_Outside = {};
    if (units.extradata_size > 0)
        m_Outside = m_Subset.Check({units.extradata, static_cast<size_t>(units.extradata_size)});
}

void PacketCheck::DescribeAnew(const AVCodecParameters& known, std::span<const uint8_t> told)
{
    const AvCodecParameters codec(avcodec_parameters_alloc());
    CheckAv(codec ? avcodec_parameters_copy(codec.get(), &known) : AVERROR(ENOMEM), "read H.264");
    av_freep(&codec->extradata);
    codec->extradata = static_cast<uint8_t*>(av_mallocz(told.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    codec->extradata_size = codec->extradata == nullptr ? 0 : static_cast<int>(told.size());
    std::copy_n(told.begin(), codec->extradata_size, codec->extradata);
    Describe(*codec);
}

// FLV and MP4 tell with a packet when the encoder was set otherwise, and some senders the same again and again.
// False when that can't be read.
bool PacketCheck::TakeDescription(const AVPacket& packet)
{
    size_t size = 0;
    const uint8_t* const bytes = av_packet_get_side_data(&packet, AV_PKT_DATA_NEW_EXTRADATA, &size);
    if (bytes == nullptr) return true;
    const std::span told(bytes, size);
    const AVCodecParameters& known = *m_Filter->par_in;
    if (std::equal(told.begin(), told.end(), known.extradata, known.extradata + known.extradata_size))
        return true;
    try {
        DescribeAnew(known, told);
    } catch (const std::runtime_error&) {
        return false;
    }
    return true;
}

void PacketCheck::LeaveOut(const AVPacket& packet)
{
    if (m_Filter) TakeDescription(packet);
    m_Subset.Restart();
}

h264::Checked PacketCheck::Check(const AVPacket& packet)
{
    h264::Checked checked;
    checked.result = h264::Checked::EResult::Outside;
    checked.why = "it is not H.264";
    if (!m_Filter) return checked;
    checked.result = h264::Checked::EResult::Damaged;
    checked.why = "a packet can't be read";
    if (!TakeDescription(packet)) return checked;
    if (m_Outside.result == h264::Checked::EResult::Outside) return m_Outside;
    if (av_packet_ref(m_Packet.get(), &packet) < 0) return checked;
    if (av_bsf_send_packet(m_Filter.get(), m_Packet.get()) < 0) {
        av_packet_unref(m_Packet.get());
        return checked;
    }
    // One comes for one.
    if (av_bsf_receive_packet(m_Filter.get(), m_Packet.get()) < 0) return checked;
    checked = m_Subset.Check({m_Packet->data, static_cast<size_t>(m_Packet->size)});
    av_packet_unref(m_Packet.get());
    return checked;
}

void PassGate::Opened()
{
    const std::lock_guard lock(m_Mutex);
    m_State.why.clear();
    m_Waits.clear();
    m_Whole = false;
    m_AwaitsKey = true;
    m_Behind = false;
}

std::string PassGate::Say(const std::string& why)
{
    return std::exchange(m_Said, why) != why ? why : std::string();
}

std::string PassGate::LeaveOut(const std::string& why)
{
    m_State.passing = false;
    m_State.why = why;
    return Say(why);
}

std::string PassGate::Wait(const std::string& what, Clock::time_point now)
{
    if (m_Waits.empty()) m_WaitsSince = now;
    // Before, the next picture may well be the IDR one; the reason at that time stays.
    const bool stale = now - m_WaitsSince >= STALE_AFTER;
    if (!stale || m_Waits.empty()) m_Waits = what;
    return stale && !m_Lossy ? Say(m_Waits) : std::string();
}

std::string PassGate::Await(const std::string& what, Clock::time_point now)
{
    ++m_State.damaged;
    m_AwaitsKey = true;
    m_Behind = false;
    std::string why = Wait(what, now);
    if (std::exchange(m_Whole, false)) {
        const auto before = std::exchange(m_Broke, now);
        m_Lossy = m_Lossy || (before && now - *before < LOSSY_WITHIN);
    }
    if (m_Lossy) {
        m_Broke = now;
        // From IDR picture to the next break clients would see a part of the pictures only.
        m_State.passing = false;
        return Say(LOSSY);
    }
    return why;
}

std::string PassGate::Take(const h264::Checked& checked, EChecksum checksum, Clock::time_point now)
{
    using EResult = h264::Checked::EResult;
    const std::lock_guard lock(m_Mutex);
    if (!m_State.why.empty()) return {};
    if (checked.result == EResult::Nothing) return {};
    if (checked.result == EResult::Outside) return LeaveOut(checked.why);
    if (checked.result == EResult::Damaged) return Await(checked.why, now);
    if (checked.result == EResult::Early) return Wait(h264::NO_IDR, now);
    m_Whole = true;
    if (m_Lossy && now - *m_Broke < LOSSY_WITHIN) {
        m_Waits.clear();
        return {};
    }
    m_Lossy = false;
    if ((m_AwaitsKey || !m_State.passing) && !checked.key) {
        if (m_Behind) ++m_State.leftOut;
        return Wait(h264::NO_IDR, now);
    }
    if (checked.key)
        m_Key = now;
    else if (now - m_Key >= MOST_BETWEEN_KEYS)
        return LeaveOut(RARE_IDR);
    m_Waits.clear();
    auto coded = std::make_shared<Coded>();
    coded->codec = ECodec::H264;
    coded->key = checked.key;
    coded->bytes = checksum == EChecksum::None ? checked.bytes : WithChecksum(checked.bytes, checksum);
    m_State.passing = true;
    m_Said.clear();
    m_Parted = true;
    m_Latest = now;
    m_Behind = m_AwaitsKey = !m_Deliver(std::move(coded));
    ++(m_Behind ? m_State.leftOut : m_State.passed);
    return {};
}

void PassGate::Rest()
{
    const std::lock_guard lock(m_Mutex);
    m_State.passing = false;
    m_Waits.clear();
    m_Whole = false;
    m_AwaitsKey = true;
    m_Behind = false;
}

PassGate::ETurn PassGate::Turn(Clock::time_point now)
{
    const std::lock_guard lock(m_Mutex);
    if (now - m_Latest >= STALE_AFTER) m_State.passing = false;
    if (m_State.passing) return ETurn::Leave;
    return std::exchange(m_Parted, false) ? ETurn::Restart : ETurn::Code;
}

bool PassGate::Send(std::shared_ptr<const Coded> coded)
{
    const std::lock_guard lock(m_Mutex);
    if (m_State.passing || m_Parted) {
        m_Parted = true;
        return true;
    }
    return m_Deliver(std::move(coded));
}

PassState PassGate::State() const
{
    const std::lock_guard lock(m_Mutex);
    PassState state = m_State;
    if (state.passing || !state.why.empty()) return state;
    // A reason that was told holds until a picture passes, whoever still looks by then.
    state.why = m_Lossy ? LOSSY : m_Waits.empty() ? m_Said : m_Waits;
    return state;
}

}  // namespace recorder
