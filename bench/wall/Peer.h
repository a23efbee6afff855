#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "tests/links/recorder_support.h"

/// One channel's coded pictures as they came over the wire, a key picture first.
using CODED_STREAM = std::vector<std::vector<std::uint8_t>>;

/// Receives so many pictures of each of the first channels; throws when something is lost on the way.
std::vector<CODED_STREAM> CaptureStreams(const CRecorderProcess& recorder, int channels, std::size_t pictures);

/// Processor time of a peer and the pictures that it made.
struct XPeerCost {
    double m_dSeconds = 0;
    std::uint64_t m_ulPictures = 0;

    double MillisecondsAPicture() const { return 1e3 * m_dSeconds / static_cast<double>(m_ulPictures); }
};

/// The ffmpeg program, one thread for the decoder and one for the filters: decodes all streams, one behind the
/// other `repeats` times, and converts the pictures to blue, green, red, opacity. One process for all of them,
/// so that its start counts little. Throws when it makes another number of pictures.
XPeerCost RunFfmpeg(const std::vector<CODED_STREAM>& streams, int repeats, const std::filesystem::path& folder);

/// The libraries beneath it alone, called from this thread: no demultiplexer, no parser, no filter graph.
XPeerCost RunLibraries(const std::vector<CODED_STREAM>& streams, int repeats);

/// Our own decoder and conversion in the same way, without network, threads or device.
XPeerCost RunOwnCodec(const std::vector<CODED_STREAM>& streams, int repeats);
