#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "recorder/media/Channel.h"
#include "recorder/protocol/Faults.h"
#include "recorder/server/DataServer.h"

namespace recorder
{

// Which of the services, for options that name some of them.
enum class EService { Directory, Rendezvous, Device, Video };

// Everything that the command line says, checked and with defaults filled in.
struct XOptions {
    int m_iNetId = 1001;
    std::vector<std::string> m_Aliases;
    int m_iChannels = 4;
    XSceneSetup m_Scene;
    int64_t m_iBitRate = 1'500'000;
    int m_iGroup = 0;  // pictures; never 0 after parsing
    EMotion m_Motion = EMotion::Half;
    EEntropy m_Entropy = EEntropy::Cabac;
    std::string m_strPreset = H264_PRESET;
    EChecksum m_Checksum = EChecksum::None;
    std::vector<std::string> m_Sources;  // one for each channel; may hold passwords
    struct XSize {
        int m_iWidth = 0;
        int m_iHeight = 0;
        bool operator==(const XSize&) const = default;
    };
    std::vector<XSize> m_Sizes;  // one for each channel; that of m_Scene stands for those that name none
    int m_iLoopSeconds = 0;
    bool m_bPass = true;

    std::string m_strStore;  // empty: nothing is kept
    int64_t m_iStoreBytes = int64_t{1} << 30;
    bool m_bListRecords = false;

    uint32_t m_dwListen = 0x7F000001;
    uint16_t m_usDirectoryPort = 6800;
    uint16_t m_usRendezvousPort = 4567;
    uint16_t m_usDevicePort = 0;
    uint16_t m_usControlPort = 10060;
    uint16_t m_usDataPort = 10061;
    size_t m_ulClients = 64;
    size_t m_ulClientsPerAddress = 16;
    double m_dDropAfterSeconds = 10;

    XFaultRates m_Faults;
    XDirectFaults m_DirectFaults;
    uint32_t m_dwSeed = 1;
    std::set<EService> m_FaultsOn = {EService::Video};
    std::set<EService> m_Silent;

    double m_dSeconds = 0;  // 0: until it is told to end
    std::string m_strReport;
    std::string m_strReadyFile;
};

// What came of a command line.
struct XParsed {
    bool m_bRun = false;
    int m_iExit = 0;       // when it shall not run
    std::string m_strSay;  // help, version or complaint
    XOptions m_Options;
};

// Reads the command line. Never exits, never throws, prints nothing.
XParsed ParseOptions(int argc, const char* const* argv);

}  // namespace recorder
