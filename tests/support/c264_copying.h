#pragma once

#include <cstdint>
#include <cstring>

#include "codec/c264/c264.h"
#include "codec/c264/c264_context.h"
#include "codec/codec.h"
#include "codec/decoder.h"

/// An H.264 decoder that paints, filters and hands out every macroblock: it never knows that both of its
/// pictures hold the same. What the ordinary one leaves out is held against it.
class CCopyingC264Decoder : public CC264Decoder
{
  public:
    CCopyingC264Decoder(int32_t width, int32_t height) : CC264Decoder(width, height, Row()) {}

  private:
    /// How the row's private record begins.
    struct Record {
        int32_t width;
        int32_t height;
        C264Handle* handle;
    };

    static int32_t PaintAll(CodecContext* context, CodecFrame* frame, int32_t* got, const uint8_t* data,
                            int32_t size)
    {
        Record record;
        std::memcpy(&record, context->priv, sizeof record);
        auto* const dec = reinterpret_cast<C264Context*>(record.handle);  // its first member
        std::memset(dec->same, C264_SAME_NOT, static_cast<size_t>(dec->mb_across) * dec->mb_down);
        return c264_codec_entry().decode(context, frame, got, data, size);
    }

    static const CodecEntry* Row()
    {
        static const CodecEntry row = [] {
            CodecEntry entry = c264_codec_entry();
            entry.decode = PaintAll;
            return entry;
        }();
        return &row;
    }
};
