#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/os/clock.h"
#include "remote/DeviceState.h"
#include "remote/p2p/LinkCounters.h"

class CRender;
class CSurface;
class CVideoDecoder;
struct CodecFrame;

/// A picture has at most so many samples, in whatever shape. The size comes from whoever answers a request, and
/// decoder and renderer set aside several bytes for each sample.
inline constexpr std::int64_t PICTURE_LIMIT_SAMPLES = std::int64_t{16384} * 4096;

/// False for a negative side and for a picture beyond the limit, in whole macroblocks of 16x16 and at least one
/// each way, as decoders set it aside. A size of 0 passes otherwise: no decoder shows anything of it.
bool IsWithinLimit(std::int32_t width, std::int32_t height);

/// Where a link's payloads become pictures in the device's cell: the decoder (m_pDecoder of the state), the
/// renderer and a surface of it, and the count of what became of each picture. Link thread only.
class CLinkPicture
{
  public:
    /// Counts the time to the first picture shown from here.
    CLinkPicture(std::shared_ptr<CDeviceState> state, std::shared_ptr<CLinkCounters> counters, IClock& clock);
    ~CLinkPicture();
    CLinkPicture(const CLinkPicture&) = delete;
    CLinkPicture& operator=(const CLinkPicture&) = delete;

    /// Makes decoder and surface for pictures of this size in pixels, by codec id 13 (MPEG-4) or 28 (H.264). A
    /// size beyond the limit acts as a decoder that does not open: the stream goes on, each payload of it is
    /// refused, and one line of the log tells, with `stream` for its name.
    void Open(std::int32_t codec, std::int32_t width, std::int32_t height, const std::string& stream);

    /// The decoder's picture, valid until the next call, or null. The length may be below 1, which the decoder
    /// answers as it likes.
    const CodecFrame* Decode(const std::uint8_t* data, std::int32_t length);

    /// Shows the picture in the device's cell of now and counts it. One for which the device isn't free before
    /// `before` is left out as grown old.
    void Show(const CodecFrame& frame,
              std::chrono::steady_clock::time_point before = std::chrono::steady_clock::time_point::max());

    /// Writes the present picture into a file, a path in the system's form; nothing without a surface.
    void SaveSnapshot(const std::string& path);

    /// Gives back decoder, surface, renderer and cell. Once, before the object goes.
    void Close();

  private:
    const std::shared_ptr<CDeviceState> m_pState;
    const std::shared_ptr<CLinkCounters> m_pCounters;
    IClock& m_Clock;
    const std::uint32_t m_dwOpenTick;
    std::shared_ptr<CRender> m_pRender;
    CSurface* m_pSurface = nullptr;  // the renderer's, until DestroySurface
};
