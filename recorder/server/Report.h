#pragma once

#include <nlohmann/json.hpp>
#include <vector>

#include "recorder/media/Channel.h"
#include "recorder/protocol/DeviceLink.h"
#include "recorder/protocol/Rendezvous.h"
#include "recorder/server/DirectoryServer.h"
#include "recorder/server/Options.h"
#include "recorder/server/UdpRoad.h"

namespace recorder
{

// What a report is made of; read during the call only.
struct XReportInput {
    const XOptions& m_Options;
    double m_dSeconds;
    const std::vector<XChannelCounts>& m_Channels;
    const CDirectoryServer& m_Directory;
    const CRendezvous& m_Rendezvous;
    const CDeviceLink& m_Device;
    CUdpRoad& m_RendezvousRoad;
    CUdpRoad& m_DeviceRoad;
};

// "id", "seconds", "channels" and "clients" (arrays), "directory", "rendezvous", "device", "faults", "totals".
nlohmann::json MakeReport(const XReportInput& input);

}  // namespace recorder
