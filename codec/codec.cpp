#include "codec/codec.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "codec/c264/c264.h"
#include "codec/codec_memory.h"
#include "codec/mpeg4/mpeg4_dsp.h"
#include "codec/mpeg4_dec.h"

namespace
{
/// The core's messages go to standard error unless a callback is set.
void report_to_stderr(const char* text)
{
    std::fputs(text, stderr);
}

std::atomic<codec_report_fn> g_report{report_to_stderr};

CodecEntry* g_first = nullptr;

/// Appends a row to the list; called under the run-once flag only.
void register_entry(CodecEntry* entry)
{
    CodecEntry** link = &g_first;
    while (*link)
        link = &(*link)->next;
    entry->next = nullptr;
    *link = entry;
}

CodecEntry g_mpeg4_entry = mpeg4_codec_entry();

CodecEntry g_c264_entry = c264_codec_entry();

/// The rows of the encoders are on the list by name only: nothing here encodes, and find never returns them.
CodecEntry encoder_row(const char* name, int32_t id)
{
    return {.name = name,
            .kind = CODEC_KIND_VIDEO,
            .id = id,
            .priv_size = 0,
            .open = nullptr,
            .encode = nullptr,
            .close = nullptr,
            .decode = nullptr,
            .capabilities = 0,
            .next = nullptr};
}

CodecEntry g_encoder_entries[] = {
    encoder_row("c264", CODEC_ID_H264),
    encoder_row("mpeg4", CODEC_ID_MPEG4),
    encoder_row("mjpeg", CODEC_ID_MJPEG),
};
}  // namespace

void codec_init()
{
    mpeg4_dsp_init(0);
}

void codec_register_all()
{
    static std::once_flag once;
    std::call_once(once, [] {
        register_entry(&g_mpeg4_entry);
        register_entry(&g_c264_entry);
        for (CodecEntry& entry : g_encoder_entries)
            register_entry(&entry);
    });
}

const CodecEntry* codec_find_decoder(int32_t id)
{
    for (const CodecEntry* entry = g_first; entry; entry = entry->next) {
        if (entry->decode && entry->id == id) return entry;
    }
    return nullptr;
}

uint64_t codec_next_stream()
{
    static std::atomic<uint64_t> streams{0};
    return streams.fetch_add(1, std::memory_order_relaxed) + 1;
}

bool codec_check_size(int32_t width, int32_t height)
{
    if (width > 0 && height > 0 && (int64_t{width} + 128) * (int64_t{height} + 128) < 0x1FFFFFFF) return true;
    char text[64];
    std::snprintf(text, sizeof text, "picture size invalid (%ux%u)\n", static_cast<unsigned>(width),
                  static_cast<unsigned>(height));
    g_report.load()(text);
    return false;
}

int32_t codec_open(CodecContext* context, const CodecEntry* entry)
{
    if (!entry || !entry->open || context->entry) return -1;
    void* const priv = codec_alloc(entry->priv_size);
    if (!priv) return -1;
    if (context->width && context->height && !codec_check_size(context->width, context->height)) {
        codec_free(priv);
        return -1;
    }
    std::memset(priv, 0, entry->priv_size);
    context->priv = priv;
    context->entry = entry;
    context->codec_id = entry->id;
    context->picture_count = 0;
    if (entry->open(context) < 0) {
        codec_free(context->priv);
        context->priv = nullptr;
        context->entry = nullptr;
        return -1;
    }
    return 0;
}

int32_t codec_decode(CodecContext* context, CodecFrame* frame, int32_t* got, const uint8_t* data, int32_t size)
{
    *got = 0;
    if (!context->entry || !context->entry->decode) return -1;
    if ((context->width || context->height) && !codec_check_size(context->width, context->height)) return -1;
    if (size <= 0 && !(context->entry->capabilities & CODEC_ROW_DELAY)) return 0;
    const int32_t used = context->entry->decode(context, frame, got, data, size);
    if (*got) ++context->picture_count;
    return used < 1 ? -1 : used;
}

int32_t codec_close(CodecContext* context)
{
    if (!context->entry) return -1;
    if (context->entry->close) context->entry->close(context);
    codec_free(context->priv);
    context->priv = nullptr;
    context->entry = nullptr;
    return 0;
}

codec_report_fn codec_set_report(codec_report_fn report)
{
    return g_report.exchange(report ? report : report_to_stderr);
}
