#include "recorder/server/Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <map>
#include <sstream>

#include "recorder/media/SourceText.h"
#include "recorder/server/SourcesFile.h"

namespace recorder
{

namespace
{

constexpr const char* DESCRIPTION =
    "The far side of Watchwall: a directory, a rendezvous and a recorder whose channels\n"
    "stream MPEG-4 to clients that punch their way to it, MPEG-4 and H.264 to those that connect, and what it "
    "kept. Without options it serves four\n"
    "drawn scenes on the loopback address. Channels are counted from 1 here.";

// "0.0.0.0" to "255.255.255.255"
bool ParseAddress(const std::string& text, uint32_t& address)
{
    unsigned part[4] = {};
    int used = 0;
    if (std::sscanf(text.c_str(), "%3u.%3u.%3u.%3u%n", &part[0], &part[1], &part[2], &part[3], &used) != 4 ||
        static_cast<size_t>(used) != text.size())
        return false;
    address = 0;
    for (const unsigned p : part) {
        if (p > 255) return false;
        address = address << 8 | p;
    }
    return true;
}

std::vector<std::string> SplitAtCommas(const std::string& text)
{
    std::vector<std::string> parts;
    std::istringstream in(text);
    for (std::string part; std::getline(in, part, ',');)
        parts.push_back(part);
    return parts;
}

// "N=rest" is for channel N, anything else for all: 0. The whole text is taken as the rest when what stands
// before the first '=' is not a number, as in a URL.
std::pair<size_t, std::string> SplitNumber(const std::string& text)
{
    const size_t equals = text.find('=');
    const bool numbered = equals != std::string::npos && equals > 0 && equals < 4 &&
                          std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(equals),
                                      [](unsigned char c) { return std::isdigit(c) != 0; });
    if (!numbered) return {0, text};
    // Channel 0, which there isn't, must not stand for all.
    const auto channel = static_cast<size_t>(std::stoi(text.substr(0, equals)));
    return {channel == 0 ? SIZE_MAX : channel, text.substr(equals + 1)};
}

// Sets one or all. False when there is no such channel.
template <class Value>
bool ApplyToChannel(size_t channel, const Value& value, std::vector<Value>& values)
{
    if (channel == 0)
        std::fill(values.begin(), values.end(), value);
    else if (channel <= values.size())
        values[channel - 1] = value;
    else
        return false;
    return true;
}

std::string ApplySource(const std::string& text, std::vector<std::string>& sources)
{
    const auto [channel, spec] = SplitNumber(text);
    if (HasSecrets(spec))
        return "--source " + WithoutSecrets(spec) +
               ": everybody sees a command line; a user, a password or a query belongs into a file, see "
               "--sources";
    return ApplyToChannel(channel, spec, sources) ? "" : "--source " + text + ": there is no such channel";
}

constexpr int64_t STORE_BYTES_PER_CHANNEL = int64_t{1} << 20;

const std::map<std::string, EService> SERVICES = {{"directory", EService::Directory},
                                                  {"rendezvous", EService::Rendezvous},
                                                  {"device", EService::Device},
                                                  {"video", EService::Video}};

// Help that shows a word for the value and its default; limits are told when they are broken.
class CHelp : public CLI::Formatter
{
  public:
    std::string make_option_opts(const CLI::Option* option) const override
    {
        const std::string type = option->get_type_name();  // what follows a colon are the limits
        std::string text = option->get_expected_max() > 0 ? " " + type.substr(0, type.find(':')) : "";
        if (!option->get_default_str().empty()) text += " (" + option->get_default_str() + ")";
        return text;
    }
};

// What the parser fills in as text, before it is made into options.
struct XTexts {
    std::vector<std::string> m_Size;
    std::string m_strListen = "127.0.0.1";
    std::string m_strNames;
    std::string m_strClock;
    std::string m_strMotion = "half";
    std::string m_strEntropy = "cabac";
    std::string m_strChecksum = "0";
    int m_iControlPort = -1;  // not given
    int m_iDataPort = -1;
    std::string m_strFaultsOn = "video";
    std::string m_strPass = "auto";
    std::vector<std::string> m_Sources;
    std::string m_strSourcesFile;
    bool m_bChannels = false;  // their number was given
    std::vector<std::string> m_Silent;
    double m_dDelayMs = 0;
};

void Declare(CLI::App& app, XOptions& options, XTexts& texts)
{
    app.set_version_flag("--version", "watchwall-recorder " WATCHWALL_VERSION);
    app.formatter(std::make_shared<CHelp>());
    app.get_formatter()->column_width(32);
    const auto percent = CLI::Range(0.0, 100.0);

    app.add_option("--id", options.m_iNetId, "net id by which clients find it")
        ->type_name("N")
        ->check(CLI::Range(1, 2147483647))
        ->capture_default_str();
    app.add_option("--alias", options.m_Aliases, "further name that the directory knows (repeatable)")
        ->allow_extra_args(false)
        ->type_name("NAME")
        ->check([](const std::string& name) { return name.empty() ? "a name can't be empty" : ""; });
    app.add_option("--channels", options.m_iChannels, "number of channels")
        ->type_name("N")
        ->check(CLI::Range(0, MAX_CHANNELS))
        ->capture_default_str();
    app.add_option("--names", texts.m_strNames, "names burnt into the pictures: A,B,C")->type_name("A,B,C");

    app.add_option("--size", texts.m_Size,
                   "WIDTHxHEIGHT, multiples of 16 (704x576); N=... for channel N (repeatable)")
        ->allow_extra_args(false)
        ->type_name("[N=]WxH")
        ->group("Pictures")
        ->check([](const std::string& text) { return CheckSize(SplitNumber(text).second); });
    app.add_option("--fps", options.m_Scene.m_iRate, "pictures a second")
        ->type_name("N")
        ->group("Pictures")
        ->check(CLI::Range(1, 60))
        ->capture_default_str();
    app.add_option("--bitrate", options.m_iBitRate, "bits a second and channel; 1500k and 2M are understood")
        ->type_name("RATE")
        ->group("Pictures")
        ->transform(CLI::AsSizeValue(true))
        ->check(CLI::Range(int64_t{8'000}, int64_t{100'000'000}))
        ->default_str("1500k");
    app.add_option("--gop", options.m_iGroup, "pictures from key picture to key picture (one second's)")
        ->type_name("N")
        ->group("Pictures")
        ->check(CLI::Range(1, 300));
    app.add_option("--motion", texts.m_strMotion, "half: half-pel vectors; none: zero vectors only")
        ->type_name("HOW")
        ->group("Pictures")
        ->check(CLI::IsMember({"half", "none"}))
        ->capture_default_str();
    app.add_option("--entropy", texts.m_strEntropy, "of H.264: cabac or cavlc")
        ->type_name("HOW")
        ->group("Pictures")
        ->check(CLI::IsMember({"cabac", "cavlc"}))
        ->capture_default_str();
    app.add_option("--preset", options.m_strPreset, "effort of the H.264 encoder: ultrafast to medium")
        ->type_name("HOW")
        ->group("Pictures")
        ->check(CLI::IsMember({"ultrafast", "superfast", "veryfast", "faster", "fast", "medium"}))
        ->capture_default_str();
    app.add_option("--checksum", texts.m_strChecksum, "bits of the checksum of H.264 units: 0, 16 or 32")
        ->type_name("BITS")
        ->group("Pictures")
        ->check(CLI::IsMember({"0", "16", "32"}))
        ->capture_default_str();
    app.add_option(
           "--source", texts.m_Sources,
           "scene, file, URL, /dev/videoN or lavfi:GRAPH for all channels; N=... for channel N (repeatable)")
        ->type_name("[N=]SOURCE")
        ->allow_extra_args(false)
        ->group("Pictures");
    app.add_option("--sources", texts.m_strSourcesFile,
                   "file with URL, name and size for each channel; only its owner may read it")
        ->type_name("FILE")
        ->group("Pictures");
    app.add_option("--pass-through", texts.m_strPass,
                   "auto: H.264 of a camera goes to clients as it is when they can read it; never")
        ->type_name("WHEN")
        ->group("Pictures")
        ->check(CLI::IsMember({"auto", "never"}))
        ->capture_default_str();
    app.add_option("--loop", options.m_iLoopSeconds,
                   "encode so many seconds in advance and send them again and again")
        ->type_name("SECONDS")
        ->group("Pictures")
        ->check(CLI::Range(1, 600));
    app.add_option("--clock", texts.m_strClock, "clock of picture 0: \"2026-11-21 08:40:12\" (now)")
        ->type_name("TIME")
        ->group("Pictures")
        ->check([](const std::string& text) {
            return ParseClock(text) < 0 ? "'" + text + "' is not of the form YYYY-MM-DD HH:MM:SS"
                                        : std::string();
        });
    app.add_flag("--mark", options.m_Scene.m_bMark,
                 "put the picture's number into a corner, for programs to read")
        ->group("Pictures");

    app.add_option("--store", options.m_strStore,
                   "keep what channels stream as records in FOLDER (nothing is kept)")
        ->type_name("FOLDER")
        ->group("Records");
    app.add_option("--store-size", options.m_iStoreBytes, "bytes of records at most; the oldest make room")
        ->type_name("SIZE")
        ->group("Records")
        ->transform(CLI::AsSizeValue(false))
        ->check(CLI::Range(int64_t{1} << 20, int64_t{1} << 50))
        ->default_str("1G");
    app.add_flag("--records", options.m_bListRecords, "list the records of the store and end")
        ->group("Records");

    app.add_option("--listen", texts.m_strListen, "address to serve on")
        ->type_name("ADDRESS")
        ->group("Network")
        ->check([](const std::string& text) {
            uint32_t address = 0;
            return ParseAddress(text, address) ? std::string() : "'" + text + "' is not an IPv4 address";
        })
        ->capture_default_str();
    app.add_option("--directory-port", options.m_usDirectoryPort, "TCP; 0 takes a free one")
        ->type_name("PORT")
        ->group("Network")
        ->capture_default_str();
    app.add_option("--rendezvous-port", options.m_usRendezvousPort, "UDP; 0 takes a free one")
        ->type_name("PORT")
        ->group("Network")
        ->capture_default_str();
    app.add_option("--device-port", options.m_usDevicePort, "UDP; 0 takes a free one")
        ->type_name("PORT")
        ->group("Network")
        ->capture_default_str();
    app.add_option("--control-port", texts.m_iControlPort, "TCP, for text commands (10060); 0 takes a free one")
        ->type_name("PORT")
        ->group("Network")
        ->check(CLI::Range(0, 65535));
    app.add_option("--data-port", texts.m_iDataPort, "TCP, for direct streams (10061); 0 takes a free one")
        ->type_name("PORT")
        ->group("Network")
        ->check(CLI::Range(0, 65535));
    app.add_option("--clients", options.m_ulClients, "clients served at once")
        ->type_name("N")
        ->group("Network")
        ->check(CLI::Range(1, 4096))
        ->capture_default_str();
    app.add_option("--clients-per-address", options.m_ulClientsPerAddress, "of these, from one address")
        ->type_name("N")
        ->group("Network")
        ->check(CLI::Range(1, 4096))
        ->capture_default_str();
    app.add_option("--drop-after", options.m_dDropAfterSeconds,
                   "seconds after which a silent client gets no more")
        ->type_name("SECONDS")
        ->group("Network")
        ->check(CLI::Range(0.1, 3600.0))
        ->capture_default_str();

    app.add_option("--loss", options.m_Faults.m_dLoss, "percent of datagrams lost")
        ->type_name("PERCENT")
        ->group("Faults")
        ->check(percent);
    app.add_option("--reorder", options.m_Faults.m_dReorder, "percent overtaken by later ones")
        ->type_name("PERCENT")
        ->group("Faults")
        ->check(percent);
    app.add_option("--duplicate", options.m_Faults.m_dDuplicate, "percent sent twice")
        ->type_name("PERCENT")
        ->group("Faults")
        ->check(percent);
    app.add_option("--garbage", options.m_Faults.m_dGarbage, "percent changed, cut or replaced")
        ->type_name("PERCENT")
        ->group("Faults")
        ->check(percent);
    app.add_option("--wrong-length", options.m_Faults.m_dWrongLength,
                   "percent of messages that tell a wrong length")
        ->type_name("PERCENT")
        ->group("Faults")
        ->check(percent);
    app.add_option("--wrong-type", options.m_DirectFaults.m_dWrongType,
                   "percent of direct frames of a wrong type")
        ->type_name("PERCENT")
        ->group("Faults")
        ->check(percent);
    app.add_option("--no-media", options.m_DirectFaults.m_dNothing,
                   "percent of direct frames with an empty one before")
        ->type_name("PERCENT")
        ->group("Faults")
        ->check(percent);
    app.add_option("--close", options.m_DirectFaults.m_dClose, "percent of direct frames that break off")
        ->type_name("PERCENT")
        ->group("Faults")
        ->check(percent);
    app.add_option("--trickle", options.m_DirectFaults.m_iTrickleMs,
                   "milliseconds between the bytes of direct streams")
        ->type_name("MS")
        ->group("Faults")
        ->check(CLI::Range(0, 10000));
    app.add_option("--delay", texts.m_dDelayMs, "milliseconds that every datagram is late")
        ->type_name("MS")
        ->group("Faults")
        ->check(CLI::Range(0.0, 10000.0));
    app.add_option("--faults-on", texts.m_strFaultsOn,
                   "whose datagrams: video, device, rendezvous, or several with commas")
        ->type_name("A,B")
        ->group("Faults")
        ->capture_default_str();
    app.add_option("--seed", options.m_dwSeed, "the same seed does the same harm")
        ->type_name("N")
        ->group("Faults")
        ->capture_default_str();
    app.add_option("--silent", texts.m_Silent, "never answers: directory, rendezvous or device (repeatable)")
        ->type_name("SERVICE")
        ->allow_extra_args(false)
        ->group("Faults")
        ->check(CLI::IsMember({"directory", "rendezvous", "device"}));

    app.add_option("--seconds", options.m_dSeconds, "end after so long (never)")
        ->type_name("SECONDS")
        ->group("Run")
        ->check(CLI::Range(0.01, 1e9));
    app.add_option("--report", options.m_strReport, "write what was served to FILE, as JSON, at the end")
        ->group("Run")
        ->type_name("FILE");
    app.add_option("--ready-file", options.m_strReadyFile, "write the line \"ready ...\" to FILE too")
        ->group("Run")
        ->type_name("FILE");
}

void ApplyEntry(const XSourceEntry& entry, size_t index, XOptions& options)
{
    if (!entry.m_strUrl.empty()) options.m_Sources[index] = entry.m_strUrl;
    if (entry.m_iWidth != 0) options.m_Sizes[index] = {entry.m_iWidth, entry.m_iHeight};
    if (entry.m_strName.empty()) return;
    auto& names = options.m_Scene.m_Names;
    names.resize(std::max(names.size(), index + 1));
    names[index] = entry.m_strName;
}

// What the file says goes before what the command line says; without --channels there are as many as it names.
std::string ApplySources(XOptions& options, const XTexts& texts)
{
    std::map<int, XSourceEntry> entries;
    try {
        if (!texts.m_strSourcesFile.empty()) entries = ReadSources(texts.m_strSourcesFile);
    } catch (const CSourcesFault& fault) {
        return "--sources " + texts.m_strSourcesFile + ": " + fault.what();
    }
    if (!entries.empty() && !texts.m_bChannels) options.m_iChannels = entries.rbegin()->first;
    const auto channels = static_cast<size_t>(options.m_iChannels);
    options.m_Sources.assign(channels, std::string(SCENE));
    options.m_Sizes.assign(channels, {options.m_Scene.m_iWidth, options.m_Scene.m_iHeight});
    for (const std::string& text : texts.m_Size) {
        const auto [channel, given] = SplitNumber(text);
        XOptions::XSize size;
        ParseSize(given, size.m_iWidth, size.m_iHeight);
        if (!ApplyToChannel(channel, size, options.m_Sizes))
            return "--size " + text + ": there is no such channel";
    }
    for (const std::string& source : texts.m_Sources)
        if (auto wrong = ApplySource(source, options.m_Sources); !wrong.empty()) return wrong;
    for (const auto& [channel, entry] : entries) {
        if (channel > options.m_iChannels)
            return "--sources " + texts.m_strSourcesFile + ": there is no channel " + std::to_string(channel);
        ApplyEntry(entry, static_cast<size_t>(channel - 1), options);
    }
    return {};
}

// Empty, or what is wrong.
std::string Complete(XOptions& options, const XTexts& texts)
{
    for (const std::string& text : texts.m_Size)
        if (const auto [channel, size] = SplitNumber(text); channel == 0)
            ParseSize(size, options.m_Scene.m_iWidth, options.m_Scene.m_iHeight);
    ParseAddress(texts.m_strListen, options.m_dwListen);
    options.m_Scene.m_Names = SplitAtCommas(texts.m_strNames);
    options.m_Scene.m_iClockStart = texts.m_strClock.empty() ? WallClockNow() : ParseClock(texts.m_strClock);
    options.m_Motion = texts.m_strMotion == "none" ? EMotion::None : EMotion::Half;
    options.m_Entropy = texts.m_strEntropy == "cavlc" ? EEntropy::Cavlc : EEntropy::Cabac;
    options.m_Checksum = texts.m_strChecksum == "16"   ? EChecksum::Sixteen
                         : texts.m_strChecksum == "32" ? EChecksum::ThirtyTwo
                                                       : EChecksum::None;
    // The mark stands in pictures that are coded here only.
    options.m_bPass = texts.m_strPass == "auto" && !options.m_Scene.m_bMark;
    // A recorder among others, whose directory takes a free port, takes free ones here too.
    const bool amongOthers = options.m_usDirectoryPort == 0;
    const auto port = [&](int given, uint16_t usual) {
        return given >= 0 ? static_cast<uint16_t>(given) : amongOthers ? uint16_t{0} : usual;
    };
    options.m_usControlPort = port(texts.m_iControlPort, options.m_usControlPort);
    options.m_usDataPort = port(texts.m_iDataPort, options.m_usDataPort);
    options.m_DirectFaults.m_dWrongLength = options.m_Faults.m_dWrongLength;
    options.m_Faults.m_iDelay = static_cast<TimeUs>(texts.m_dDelayMs * MILLISECOND);
    if (options.m_iGroup == 0) options.m_iGroup = options.m_Scene.m_iRate;
    if (auto wrong = ApplySources(options, texts); !wrong.empty()) return wrong;
    if (options.m_bListRecords && options.m_strStore.empty()) return "--records: of which --store?";
    if (options.m_iStoreBytes < options.m_iChannels * STORE_BYTES_PER_CHANNEL)
        return "--store-size: each channel needs 1M at least";
    if (options.m_iLoopSeconds > 0 && std::any_of(options.m_Sources.begin(), options.m_Sources.end(), IsLive))
        return "--loop: a live source can't be encoded in advance";
    for (const std::string& service : texts.m_Silent)
        options.m_Silent.insert(SERVICES.at(service));
    options.m_FaultsOn.clear();
    for (const std::string& service : SplitAtCommas(texts.m_strFaultsOn)) {
        const auto it = SERVICES.find(service);
        if (it == SERVICES.end() || it->second == EService::Directory)
            return "--faults-on: '" + service + "' is none of video, device, rendezvous";
        options.m_FaultsOn.insert(it->second);
    }
    return {};
}

}  // namespace

XParsed ParseOptions(int argc, const char* const* argv)
{
    XParsed parsed;
    XTexts texts;
    CLI::App app(DESCRIPTION, "watchwall-recorder");
    try {
        Declare(app, parsed.m_Options, texts);
        app.parse(argc, argv);
        texts.m_bChannels = app.count("--channels") > 0;
        parsed.m_strSay = Complete(parsed.m_Options, texts);
        if (!parsed.m_strSay.empty()) {
            parsed.m_strSay = "watchwall-recorder: " + parsed.m_strSay + "\n";
            parsed.m_iExit = 2;
            return parsed;
        }
        parsed.m_bRun = true;
    } catch (const CLI::ParseError& e) {
        std::ostringstream out;
        std::ostringstream err;
        parsed.m_iExit = app.exit(e, out, err) == 0 ? 0 : 2;
        parsed.m_strSay = out.str() + err.str();
    } catch (const std::exception& e) {
        parsed.m_iExit = 2;
        parsed.m_strSay = std::string("watchwall-recorder: ") + e.what() + "\n";
    }
    return parsed;
}

}  // namespace recorder
