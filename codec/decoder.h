// What a link thread feeds: an object that owns one open decoder and one output frame.
#pragma once

#include <cstdint>

#include "codec/codec.h"

/// Decodes one stream. An object belongs to the one thread that made it and takes no lock.
///
/// Damage in a stream costs one frame and never the process: the decoders keep every access inside their
/// buffers, whatever the bytes are, so that nothing has to be caught here.
class CVideoDecoder
{
  public:
    /// \param width, height   coded size in pixels; the stream's own headers don't change it
    /// \param codecId         CODEC_ID_*
    /// \param codecType       0 = video
    /// A codec that isn't found or doesn't open is reported by nothing but a null from every Decode.
    CVideoDecoder(int32_t width, int32_t height, int32_t codecId, int32_t codecType);
    virtual ~CVideoDecoder();
    CVideoDecoder(const CVideoDecoder&) = delete;
    CVideoDecoder& operator=(const CVideoDecoder&) = delete;

    /// Decodes one payload of `length` bytes, which are read only during the call.
    /// \returns the object's frame, or null when the decoder refused. The frame is the previous picture's once
    /// more when the payload was consumed without finishing one, and has a null data[0] when there never was
    /// any. Its planes stay valid until the next Decode: consumers copy or convert at once.
    virtual CodecFrame* Decode(const uint8_t* buffer, int32_t length);

  protected:
    /// Opens a row of the caller's instead of the table's, for tests.
    CVideoDecoder(int32_t width, int32_t height, int32_t codecId, int32_t codecType, const CodecEntry* entry);

    CodecContext m_Context = {};
    CodecFrame m_Frame = {};
};

/// MPEG-4 part 2: one whole picture, with the headers before it, per call.
class CMpeg4Decoder : public CVideoDecoder
{
  public:
    CMpeg4Decoder(int32_t width, int32_t height);

    /// Off by default: chroma vectors are then those of the devices' own encoder. On, macroblocks with one
    /// vector take the chroma vector of ISO/IEC 14496-2. Holds from the next Decode on.
    void SetStandardChroma(bool on);
};

/// H.264: any number of NAL units per call, each after a start code.
class CC264Decoder : public CVideoDecoder
{
  public:
    CC264Decoder(int32_t width, int32_t height);
    /// The same over a row of the caller's, for tests.
    CC264Decoder(int32_t width, int32_t height, const CodecEntry* entry);

    /// Decodes unit by unit. Null when a unit failed, otherwise the frame, which this call cleared first: a
    /// null data[0] means that the payload held no picture. What follows a unit that consumed nothing is
    /// dropped.
    CodecFrame* Decode(const uint8_t* buffer, int32_t length) override;
};

/// The bytes up to the next start code after the one that the buffer begins with. A code of four bytes keeps
/// its first zero on this side of the cut. Without a next code the result is `length` - 3, which may be below
/// 0.
int32_t FindNalLength(const uint8_t* buffer, int32_t length);
