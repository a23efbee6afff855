#include "tests/support/h264_streams.h"

#include <algorithm>
#include <fstream>
#include <iterator>

#include "tests/support/h264_bits.h"
#include "tests/support/lavc_support.h"

extern "C" {
#include <libavutil/motion_vector.h>
#include <libavutil/video_enc_params.h>
}

namespace
{
constexpr int NAL_SEI = 6;

int UnitType(uint8_t header)
{
    return header & 31;
}

uint32_t Remainder(const std::vector<uint8_t>& payload, uint32_t modulus)
{
    uint64_t value = 0;
    for (const uint8_t byte : payload)
        value = (value * 256 + byte) % modulus;
    return static_cast<uint32_t>(value);
}
}  // namespace

std::vector<H264UnitPlace> FindH264Units(const H264Packet& packet)
{
    std::vector<H264UnitPlace> units;
    for (size_t i = 0; i + 3 < packet.size(); ++i) {
        if (packet[i] || packet[i + 1] || packet[i + 2] != 1) continue;
        const size_t begin = i > 0 && packet[i - 1] == 0 ? i - 1 : i;
        if (!units.empty()) units.back().end = begin;
        units.push_back({begin, i + 3, packet.size()});
        i += 2;
    }
    return units;
}

std::vector<H264Packet> SplitH264Stream(const std::vector<uint8_t>& stream)
{
    std::vector<H264Packet> packets;
    size_t begin = 0;
    for (const H264UnitPlace& unit : FindH264Units(stream)) {
        const int type = UnitType(stream[unit.header]);
        if (type != 1 && type != 5) continue;
        packets.emplace_back(stream.begin() + static_cast<ptrdiff_t>(begin),
                             stream.begin() + static_cast<ptrdiff_t>(unit.end));
        begin = unit.end;
    }
    return packets;
}

std::vector<H264Packet> ReadH264Stream(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    Require(file.good(), path.c_str());
    return SplitH264Stream(std::vector<uint8_t>(std::istreambuf_iterator<char>(file), {}));
}

std::vector<uint8_t> H264Payload(const H264Packet& packet, const H264UnitPlace& unit)
{
    std::vector<uint8_t> payload;
    int zeros = 0;
    for (size_t i = unit.header + 1; i < unit.end; ++i) {
        if (zeros == 2 && packet[i] == 3) {
            zeros = 0;
            continue;
        }
        payload.push_back(packet[i]);
        zeros = packet[i] == 0 ? zeros + 1 : 0;
    }
    return payload;
}

H264Packet H264ChecksumSei(EH264Checksum checksum, uint32_t modulus, uint32_t repeated)
{
    const bool wide = checksum == EH264Checksum::Bits32;
    const int bits = wide ? 32 : 16;
    CH264Bits sei;
    // user data of the length that follows: two tags and the number twice
    sei.Bits(5, 8).Bits(wide ? 12 : 8, 8).Bits(0x9009, 16).Bits(wide ? 0x8082 : 0x8081, 16);
    sei.Bits(modulus, bits).Bits(repeated, bits).Trailing();
    H264Packet packet;
    H264AppendUnit(&packet, 0, NAL_SEI, sei.Bytes());
    return packet;
}

H264Packet ProtectH264(const H264Packet& packet, EH264Checksum checksum, uint32_t modulus, bool announce)
{
    H264Packet out;
    if (announce) out = H264ChecksumSei(checksum, modulus, modulus);
    const int bytes = checksum == EH264Checksum::Bits32 ? 4 : 2;
    for (const H264UnitPlace& unit : FindH264Units(packet)) {
        const uint8_t header = packet[unit.header];
        std::vector<uint8_t> payload = H264Payload(packet, unit);
        if (header >> 5 != 0) {
            payload.insert(payload.end(), static_cast<size_t>(bytes), 0);
            const uint32_t rest = Remainder(payload, modulus);
            const uint32_t sum = rest == 0 ? 0 : modulus - rest;
            for (int i = 0; i < bytes; ++i)
                payload[payload.size() - 1 - static_cast<size_t>(i)] = static_cast<uint8_t>(sum >> 8 * i);
        }
        H264AppendUnit(&out, header >> 5, UnitType(header), payload);
    }
    return out;
}

struct CLavcH264Decoder::State {
    ContextPtr context;
    FramePtr frame{av_frame_alloc()};
    PacketPtr packet{av_packet_alloc()};
    H264Packet padded;
};

CLavcH264Decoder::CLavcH264Decoder(EManner manner) : m_pState(std::make_unique<State>())
{
    const AVCodec* const codec = avcodec_find_decoder(AV_CODEC_ID_H264);
    Require(codec, "libavcodec has no h264 decoder");
    AVCodecContext* const context = avcodec_alloc_context3(codec);
    m_pState->context.reset(context);
    context->thread_count = 1;
    context->flags |= AV_CODEC_FLAG_LOW_DELAY;
    if (manner == EManner::Strict) {
        context->err_recognition = AV_EF_EXPLODE | AV_EF_BITSTREAM | AV_EF_BUFFER | AV_EF_CRCCHECK;
        context->error_concealment = 0;
        context->flags2 |= AV_CODEC_FLAG2_EXPORT_MVS;
        context->export_side_data |= AV_CODEC_EXPORT_DATA_MVS | AV_CODEC_EXPORT_DATA_VIDEO_ENC_PARAMS;
    }
    Require(avcodec_open2(context, codec, nullptr) == 0, "the h264 decoder doesn't open");
}

CLavcH264Decoder::~CLavcH264Decoder() = default;

bool CLavcH264Decoder::Decode(const H264Packet& packet)
{
    PadPacket(packet, &m_pState->padded, m_pState->packet.get());
    if (avcodec_send_packet(m_pState->context.get(), m_pState->packet.get()) != 0) return false;
    return avcodec_receive_frame(m_pState->context.get(), m_pState->frame.get()) == 0 &&
           m_pState->frame->decode_error_flags == 0;
}

TestPicture CLavcH264Decoder::Picture() const
{
    return CopyLavcFrame(*m_pState->frame);
}

std::vector<CLavcH264Decoder::Motion> CLavcH264Decoder::Motions() const
{
    std::vector<Motion> motions;
    const AVFrameSideData* const data =
        av_frame_get_side_data(m_pState->frame.get(), AV_FRAME_DATA_MOTION_VECTORS);
    if (!data) return motions;
    const auto* const vectors = reinterpret_cast<const AVMotionVector*>(data->data);
    for (size_t i = 0; i < data->size / sizeof(AVMotionVector); ++i) {
        const AVMotionVector& v = vectors[i];
        motions.push_back({v.dst_x - v.w / 2, v.dst_y - v.h / 2, v.w, v.h, v.motion_x, v.motion_y});
    }
    return motions;
}

std::vector<int> CLavcH264Decoder::Quantisers() const
{
    std::vector<int> quantisers;
    const AVFrameSideData* const data =
        av_frame_get_side_data(m_pState->frame.get(), AV_FRAME_DATA_VIDEO_ENC_PARAMS);
    if (!data) return quantisers;
    auto* const params = reinterpret_cast<AVVideoEncParams*>(data->data);
    for (unsigned i = 0; i < params->nb_blocks; ++i)
        quantisers.push_back(params->qp + av_video_enc_params_block(params, i)->delta_qp);
    return quantisers;
}
