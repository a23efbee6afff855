#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "recorder/media/Channel.h"
#include "recorder/protocol/DeviceLink.h"
#include "recorder/protocol/Rendezvous.h"
#include "recorder/server/ControlServer.h"
#include "recorder/server/DataServer.h"
#include "recorder/server/DirectoryServer.h"
#include "recorder/server/Options.h"
#include "recorder/server/UdpTransport.h"
#include "recorder/store/Store.h"

namespace recorder
{

struct CodecCounts {
    ChannelCounts mpeg4;
    ChannelCounts h264;
    PassState pass;
};

/// What a report is made of; read during the call only.
struct ReportInput {
    const Options& options;
    const Store* store;  // null when nothing is kept
    double seconds;
    const std::vector<CodecCounts>& channels;
    const DirectoryServer& directory;
    const Rendezvous& rendezvous;
    const DeviceLink& device;
    const ControlServer& control;
    const DataServer& data;
    UdpTransport& rendezvousTransport;
    UdpTransport& deviceTransport;
};

/// "id", "seconds", "channels" and "clients" (arrays), "directory", "rendezvous", "device", "control", "data"
/// (with its own clients), "store" (null without one), "faults", "totals".
nlohmann::json MakeReport(const ReportInput& input);
/// As it stands in a file. Names and sources come from elsewhere: what is no UTF-8 in them is replaced.
std::string ReportText(const nlohmann::json& report);

}  // namespace recorder
