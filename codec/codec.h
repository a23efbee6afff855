// The codec table: which decoders there are, and the four entry points by which they are opened, fed and
// closed.
//
// A row names its codec, the size of its private record and its hooks, so that all decoders look alike from
// here. Unless said otherwise: one thread at a time per context, any thread; contexts share nothing that is
// written to after registration.
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr int32_t CODEC_ID_MJPEG = 8;
inline constexpr int32_t CODEC_ID_MPEG4 = 13;
inline constexpr int32_t CODEC_ID_H264 = 28;

inline constexpr int32_t CODEC_KIND_VIDEO = 0;

/// Capability bit of a row whose decoder holds pictures back and takes a call without data to give them out.
inline constexpr uint32_t CODEC_ROW_DELAY = 0x20;

/// Bytes that the work areas of the core are aligned to.
inline constexpr size_t CODEC_ALIGN = 64;

/// Which macroblocks of a decoder's pictures changed, and when, so that whoever converts picture after picture
/// into the same target may leave out what the target has already. A decoder lends it with the planes.
///
/// Pictures are numbered from 1. For two pictures a and b of one stream, a < b, the macroblocks whose number is
/// at most a are the same in both.
struct CodecChanges {
    uint64_t stream;          ///< number of this opening of a codec, unique in the process, never 0
    uint32_t picture;         ///< number of the picture at hand
    int32_t across;           ///< macroblocks of 16x16 luma samples; what lies beyond them never changes
    int32_t down;             ///< rows of macroblocks
    const uint32_t* changed;  ///< across x down, row by row: the picture that changed this macroblock last
};

/// A decoded picture, on loan from its decoder: the planes stay valid until the next decode on the same
/// context. Consumers copy or convert at once and keep no pointer. Nobody writes to the planes: a decoder may
/// rely on what it left in them.
struct CodecFrame {
    uint8_t* data[4 /* Y, U, V, unused */];  ///< a null data[0] means that there is no picture
    int32_t linesize[4];                     ///< bytes per row; linesize[1] serves U and V alike
    int32_t format;                          ///< 1 for planar YUV 4:2:0; the decoders leave it as they find it
    int32_t width;                           ///< pixels
    int32_t height;                          ///< pixels
    int32_t key_frame;                       ///< non-zero for an intra picture
    int32_t core[2];                         ///< the core's own; no consumer reads them
    const CodecChanges* changes;             ///< null: everything may have changed
};

struct CodecEntry;

/// One opening of a codec. The caller clears it to zero and sets width, height, codec_id and codec_type.
struct CodecContext {
    int32_t width;   ///< coded width in pixels
    int32_t height;  ///< coded height in pixels
    int32_t codec_id;
    int32_t codec_type;       ///< 0 = video
    const CodecEntry* entry;  ///< the bound row; null while closed
    void* priv;               ///< the row's private record, owned by the context, CODEC_ALIGN aligned
    int32_t picture_count;    ///< pictures delivered since open
    uint32_t options;         ///< bits CODEC_OPTION_*, read at each decode; may be changed between two
};

/// Option of the MPEG-4 decoder: take the chroma vector table of ISO/IEC 14496-2 for macroblocks with one
/// vector.
inline constexpr uint32_t CODEC_OPTION_STANDARD_CHROMA = 0x1;

/// One row of the codec table. Rows live to the end of the process and are linked in order of registration.
struct CodecEntry {
    const char* name;
    int32_t kind;      ///< CODEC_KIND_*
    int32_t id;        ///< CODEC_ID_*
    size_t priv_size;  ///< bytes of the private record, which open gets cleared to zero
    /// 0, or negative when the codec can't be opened; what it took it has then given back.
    int32_t (*open)(CodecContext* context);
    int32_t (*encode)(CodecContext* context, uint8_t* to, int32_t size, const CodecFrame* frame);
    int32_t (*close)(CodecContext* context);
    /// Bytes consumed; 0 or negative when the data gave nothing. Sets *got to non-zero when a picture is
    /// complete.
    int32_t (*decode)(CodecContext* context, CodecFrame* frame, int32_t* got, const uint8_t* data,
                      int32_t size);
    uint32_t capabilities;  ///< bits CODEC_ROW_*, and those that only the row itself knows
    CodecEntry* next;       ///< set by registration
};

/// Prepares the routines that all codecs share (kernel tables). Runs once a process, however often it is
/// called; any thread at any time.
void codec_init();

/// Puts the codecs of this library on the list. Runs once a process, however often it is called; any thread at
/// any time.
void codec_register_all();

/// The first registered row with this id that has a decode hook, or null.
const CodecEntry* codec_find_decoder(int32_t id);

/// Opens `context` as `entry`. 0, or -1 when the entry is null, the context is open already (it stays so),
/// width and height are both set and fail codec_check_size, memory is short, or the codec refuses.
int32_t codec_open(CodecContext* context, const CodecEntry* entry);

/// Feeds one buffer. `data` is read only during the call.
/// \returns the bytes consumed; -1 when the hook failed or consumed nothing, when the coded size is invalid or
/// when the context isn't open; 0 without a call of the hook when there is no data (size of 0 or less) and the
/// codec holds nothing back. Sets *got to 0 first, and the hook to non-zero when `*frame` has a new picture.
int32_t codec_decode(CodecContext* context, CodecFrame* frame, int32_t* got, const uint8_t* data, int32_t size);

/// Closes and frees what open took. 0, or -1 when the context isn't open.
int32_t codec_close(CodecContext* context);

/// For CodecChanges::stream of an opening, whichever the codec. Any thread.
uint64_t codec_next_stream();

/// True when both are above 0 and (width + 128) x (height + 128) is below 0x1FFFFFFF; otherwise the text
/// "picture size invalid (%ux%u)\n" is reported.
bool codec_check_size(int32_t width, int32_t height);

/// Receives the few texts that the core reports. Any thread.
using codec_report_fn = void (*)(const char* text);

/// Sets where texts go; null sets the default, which is standard error. Returns the function that was set
/// before.
codec_report_fn codec_set_report(codec_report_fn report);
