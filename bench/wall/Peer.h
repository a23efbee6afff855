#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "tests/links/recorder_support.h"

/// One channel's coded pictures as they came over the wire, a key picture first.
using CodedStream = std::vector<std::vector<std::uint8_t>>;

/// Receives so many pictures of each of the first channels; throws when something is lost on the way.
std::vector<CodedStream> CaptureStreams(const CRecorderProcess& recorder, int channels, std::size_t pictures);

/// Processor time of a peer and the pictures that it made.
struct PeerCost {
    double seconds = 0;
    std::uint64_t pictures = 0;

    double MillisecondsAPicture() const { return 1e3 * seconds / static_cast<double>(pictures); }
};

/// How the streams are worked off.
enum class EOrder {
    OneByOne,    // each stream from its first picture to its last, so that all it needs stays in the cache
    SideBySide,  // all streams at once, picture by picture, as fast as it goes
    Paced,       // so, each picture when it is due, the streams' pictures spread over the interval
};

/// The ffmpeg program, one process for all streams `repeats` times over, with one thread for decoding and one
/// for filtering (and one that reads, for each input, when it has several); decodes and converts the pictures
/// to blue, green, red, opacity. Throws when it makes another number of pictures.
PeerCost RunFfmpeg(const std::vector<CodedStream>& streams, int repeats, const std::filesystem::path& folder,
                   EOrder order);

/// The libraries beneath it alone, called from this thread: no demultiplexer, no parser, no filter graph. At
/// pace the thread sleeps in between, and pays for waking as it pays for what was pushed out of the caches
/// meanwhile.
PeerCost RunLibraries(const std::vector<CodedStream>& streams, int repeats, EOrder order);

/// Our own decoder and conversion in the same way, without network, threads or device.
PeerCost RunOwnCodec(const std::vector<CodedStream>& streams, int repeats, EOrder order);
