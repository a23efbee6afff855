#include "tests/support/mpeg4_streams.h"

#include <algorithm>
#include <fstream>
#include <iterator>

#include "tests/support/lavc_support.h"
#include "tests/support/test_scene.h"

namespace
{
constexpr int FRAME_RATE = 25;
/// libavcodec takes the frame rate as the resolution, so that a time increment has 5 bits.
constexpr int TIME_INCREMENT_BITS = 5;

ContextPtr OpenEncoder(const Mpeg4StreamShape& shape)
{
    const AVCodec* const codec = avcodec_find_encoder_by_name("mpeg4");
    Require(codec, "libavcodec has no mpeg4 encoder");
    ContextPtr context(avcodec_alloc_context3(codec));
    context->width = shape.width;
    context->height = shape.height;
    context->pix_fmt = AV_PIX_FMT_YUV420P;
    context->time_base = {1, FRAME_RATE};
    context->framerate = {FRAME_RATE, 1};
    context->gop_size = shape.gop;
    context->max_b_frames = 0;
    context->thread_count = 1;
    context->me_range = 15;  // keeps every vector inside fcode 1
    context->flags |= AV_CODEC_FLAG_BITEXACT;
    if (shape.kbit > 0)
        context->bit_rate = int64_t{shape.kbit} * 1000;
    else
        context->flags |= AV_CODEC_FLAG_QSCALE;
    context->global_quality = FF_QP2LAMBDA * shape.quant;
    context->qmin = 1;
    context->qmax = 31;
    if (shape.b4Mv) context->flags |= AV_CODEC_FLAG_4MV;
    if (shape.acPred) context->flags |= AV_CODEC_FLAG_AC_PRED;
    av_opt_set(context.get(), "sc_threshold", "1000000000", AV_OPT_SEARCH_CHILDREN);
    if (shape.varyQuant) {
        av_opt_set(context.get(), "mbd", "rd", AV_OPT_SEARCH_CHILDREN);
        av_opt_set(context.get(), "mpv_flags", "+qp_rd", AV_OPT_SEARCH_CHILDREN);
        av_opt_set(context.get(), "lumi_mask", "0.3", AV_OPT_SEARCH_CHILDREN);
    }
    Require(avcodec_open2(context.get(), codec, nullptr) == 0, "the mpeg4 encoder doesn't open");
    return context;
}

void SetRoundingToZero(Mpeg4Packet* packet)
{
    const Mpeg4VopInfo info = ReadVopInfo(*packet, TIME_INCREMENT_BITS);
    Require(info.codingType == 0 || info.codingType == 1, "the encoder made something else than I and P");
    if (info.codingType == 0) return;
    Require(info.fcode == 1, "the encoder left fcode 1");
    (*packet)[info.roundingBit / 8] &= static_cast<uint8_t>(~(0x80 >> info.roundingBit % 8));
}

size_t FindStartCode(const std::vector<uint8_t>& data, size_t from)
{
    for (size_t i = from; i + 4 <= data.size(); ++i) {
        if (data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 1) return i;
    }
    return data.size();
}
}  // namespace

std::vector<Mpeg4Packet> EncodeMpeg4(const Mpeg4StreamShape& shape)
{
    const ContextPtr context = OpenEncoder(shape);
    std::vector<Mpeg4Packet> packets =
        EncodeScene(context.get(), {shape.width, shape.height, shape.scene, shape.seed}, shape.frames);
    for (Mpeg4Packet& packet : packets)
        SetRoundingToZero(&packet);
    return packets;
}

Mpeg4VopInfo ReadVopInfo(const Mpeg4Packet& packet, int timeIncrementBits)
{
    Mpeg4VopInfo info;
    size_t at = FindStartCode(packet, 0);
    while (at < packet.size() && packet[at + 3] != 0xB6)
        at = FindStartCode(packet, at + 4);
    if (at == packet.size()) return info;
    size_t bit = (at + 4) * 8;
    const auto get = [&](int n) {
        int value = 0;
        for (; n > 0; --n, ++bit)
            value = value * 2 + (bit / 8 < packet.size() ? packet[bit / 8] >> (7 - bit % 8) & 1 : 0);
        return value;
    };
    info.codingType = get(2);
    while (get(1)) {
    }
    get(1 + timeIncrementBits + 1);
    if (!get(1)) return info;
    if (info.codingType == 1) {
        info.roundingBit = bit;
        info.rounding = get(1) != 0;
    }
    get(3 + 5);
    if (info.codingType != 0) info.fcode = get(3);
    return info;
}

std::vector<Mpeg4Packet> SplitMpeg4Stream(const std::vector<uint8_t>& stream)
{
    std::vector<Mpeg4Packet> packets;
    size_t begin = 0;
    size_t at = FindStartCode(stream, 0);
    while (at < stream.size()) {
        const bool vop = stream[at + 3] == 0xB6;
        const size_t next = FindStartCode(stream, at + 4);
        if (vop) {
            packets.emplace_back(stream.begin() + static_cast<ptrdiff_t>(begin),
                                 stream.begin() + static_cast<ptrdiff_t>(next));
            begin = next;
        }
        at = next;
    }
    return packets;
}

std::vector<Mpeg4Packet> ReadMpeg4Stream(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    Require(file.good(), path.c_str());
    return SplitMpeg4Stream(std::vector<uint8_t>(std::istreambuf_iterator<char>(file), {}));
}

struct CLavcMpeg4Decoder::State {
    ContextPtr context;
    FramePtr frame{av_frame_alloc()};
    PacketPtr packet{av_packet_alloc()};
    Mpeg4Packet padded;
};

CLavcMpeg4Decoder::CLavcMpeg4Decoder(ETransform transform) : m_pState(std::make_unique<State>())
{
    const AVCodec* const codec = avcodec_find_decoder(AV_CODEC_ID_MPEG4);
    Require(codec, "libavcodec has no mpeg4 decoder");
    AVCodecContext* const context = avcodec_alloc_context3(codec);
    m_pState->context.reset(context);
    context->thread_count = 1;
    context->flags |= AV_CODEC_FLAG_LOW_DELAY;
    if (transform == ETransform::Exact) {
        context->flags |= AV_CODEC_FLAG_BITEXACT;
        context->idct_algo = FF_IDCT_SIMPLE;
    }
    Require(avcodec_open2(context, codec, nullptr) == 0, "the mpeg4 decoder doesn't open");
}

CLavcMpeg4Decoder::~CLavcMpeg4Decoder() = default;

bool CLavcMpeg4Decoder::Decode(const Mpeg4Packet& packet)
{
    PadPacket(packet, &m_pState->padded, m_pState->packet.get());
    if (avcodec_send_packet(m_pState->context.get(), m_pState->packet.get()) != 0) return false;
    return avcodec_receive_frame(m_pState->context.get(), m_pState->frame.get()) == 0;
}

TestPicture CLavcMpeg4Decoder::Picture() const
{
    return CopyLavcFrame(*m_pState->frame);
}
