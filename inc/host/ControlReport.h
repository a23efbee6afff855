#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inc/host/Component.h"

/// What one channel has done since it was built.
struct ChannelReport {
    std::string name;
    std::int32_t channel = 0;  // from 0
    std::int32_t width = 0;    // of the stream as its reply gave it, pixels; 0 before the stream is open
    std::int32_t height = 0;
    std::uint64_t decoded = 0;         // pictures
    std::uint64_t shown = 0;           // of these, those that came all the way to a window
    std::uint64_t withoutCell = 0;     // those for which there was no cell
    std::uint64_t notConvertible = 0;  // those whose width or planes can't be converted
    std::uint64_t skipped = 0;         // pictures left out because they had grown old
    std::uint64_t refused = 0;         // messages of which the decoder made no picture
    std::uint64_t bytes = 0;
    std::int64_t firstPictureMs = -1;  // from the opening to the first picture shown; -1 without one
};

/// What was lost between a station and its channels since it was built: it can't be told whose it was.
struct StationReport {
    std::string name;
    std::uint64_t dropped = 0;  // datagrams and messages that found no room or were too large
};

/// For reports of a container: what the control's channels did. On the host's thread.
class IControlReport : public IUnknown
{
  public:
    static constexpr UUID IID = MakeUuid("9ec2fece-e00f-481f-acb7-b1d9e2533f7d");

    /// The channels of all stations, in the order of the device tree.
    virtual HRESULT GetChannels(std::vector<ChannelReport>& channels) = 0;

    /// The stations, in the same order.
    virtual HRESULT GetStations(std::vector<StationReport>& stations) = 0;

  protected:
    ~IControlReport() = default;
};
