#pragma once

#include <nlohmann/json.hpp>
#include <vector>

#include "recorder/media/Channel.h"
#include "recorder/protocol/DeviceLink.h"
#include "recorder/protocol/Rendezvous.h"
#include "recorder/server/ControlServer.h"
#include "recorder/server/DataServer.h"
#include "recorder/server/DirectoryServer.h"
#include "recorder/server/Options.h"
#include "recorder/server/UdpRoad.h"
#include "recorder/store/Store.h"

namespace recorder
{

struct XCodecCounts {
    XChannelCounts m_Mpeg4;
    XChannelCounts m_H264;
    PassState m_Pass;
};

// What a report is made of; read during the call only.
struct XReportInput {
    const XOptions& m_Options;
    const Store* m_pStore;  // null when nothing is kept
    double m_dSeconds;
    const std::vector<XCodecCounts>& m_Channels;
    const CDirectoryServer& m_Directory;
    const CRendezvous& m_Rendezvous;
    const CDeviceLink& m_Device;
    const CControlServer& m_Control;
    const CDataServer& m_Data;
    CUdpRoad& m_RendezvousRoad;
    CUdpRoad& m_DeviceRoad;
};

// "id", "seconds", "channels" and "clients" (arrays), "directory", "rendezvous", "device", "control", "data"
// (with its own clients), "store" (when there is one), "faults", "totals".
nlohmann::json MakeReport(const XReportInput& input);

}  // namespace recorder
