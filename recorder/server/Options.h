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

/// Which of the services, for options that name some of them.
enum class EService { Directory, Rendezvous, Device, Video };

/// Everything that the command line says, checked and with defaults filled in.
struct Options {
    int netId = 1001;
    std::vector<std::string> aliases;
    int channels = 4;
    SceneSetup scene;
    int64_t bitRate = 1'500'000;
    int group = 0;  // pictures; never 0 after parsing
    EMotion motion = EMotion::Half;
    EEntropy entropy = EEntropy::Cabac;
    std::string preset = H264_PRESET;
    EChecksum checksum = EChecksum::None;
    std::vector<std::string> sources;  // one for each channel; may hold passwords
    struct Size {
        int width = 0;
        int height = 0;
        bool operator==(const Size&) const = default;
    };
    std::vector<Size> sizes;  // one for each channel; that of `scene` stands for those that name none
    int loopSeconds = 0;
    bool passThrough = true;

    std::string store;  // empty: nothing is kept
    int64_t storeBytes = int64_t{1} << 30;
    bool listRecords = false;

    uint32_t listen = 0x7F000001;
    uint16_t directoryPort = 6800;
    uint16_t rendezvousPort = 4567;
    uint16_t devicePort = 0;
    uint16_t controlPort = 10060;
    uint16_t dataPort = 10061;
    size_t clients = 64;
    size_t clientsPerAddress = 16;
    double dropAfterSeconds = 10;

    FaultRates faults;
    DirectFaults directFaults;
    uint32_t seed = 1;
    std::set<EService> faultsOn = {EService::Video};
    std::set<EService> silent;

    double seconds = 0;  // 0: until it is asked to end
    std::string report;
    std::string readyFile;
};

/// What came of a command line.
struct ParsedOptions {
    bool run = false;
    int exit = 0;     // when it isn't to run
    std::string say;  // help, version or complaint
    Options options;
};

/// Reads the command line. Never exits, never throws, prints nothing.
ParsedOptions ParseOptions(int argc, const char* const* argv);

}  // namespace recorder
