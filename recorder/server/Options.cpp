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
    "stream MPEG-4 to clients that punch their way to it, MPEG-4 and H.264 to those that\n"
    "connect, and what it kept. Without options it serves four drawn scenes on the loopback\n"
    "address. Channels are counted from 1 here.";

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
        return "--source " + SourceWithoutSecrets(spec) +
               ": everybody sees a command line; a user, a password or a query belongs into a file, see "
               "--sources";
    return ApplyToChannel(channel, spec, sources) ? "" : "--source " + text + ": there is no such channel";
}

constexpr int64_t STORE_BYTES_PER_CHANNEL = int64_t{1} << 20;

const std::map<std::string, EService> SERVICES = {{"directory", EService::Directory},
                                                  {"rendezvous", EService::Rendezvous},
                                                  {"device", EService::Device},
                                                  {"video", EService::Video}};

// Help that shows a word for the value and its default; limits are named when they are exceeded.
class Help : public CLI::Formatter
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
struct TextTable {
    std::vector<std::string> size;
    std::string listen = "127.0.0.1";
    std::string names;
    std::string clock;
    std::string motion = "half";
    std::string entropy = "cabac";
    std::string checksum = "0";
    int controlPort = -1;  // not given
    int dataPort = -1;
    std::string faultsOn = "video";
    std::string pass = "auto";
    std::vector<std::string> sources;
    std::string sourcesFile;
    bool channels = false;  // their number was given
    std::vector<std::string> silent;
    double delayMs = 0;
};

void Declare(CLI::App& app, Options& options, TextTable& texts)
{
    app.set_version_flag("--version", "watchwall-recorder " WATCHWALL_VERSION);
    app.formatter(std::make_shared<Help>());
    app.get_formatter()->column_width(32);
    const auto percent = CLI::Range(0.0, 100.0);

    app.add_option("--id", options.netId, "net id by which clients find it")
        ->type_name("N")
        ->check(CLI::Range(1, 2147483647))
        ->capture_default_str();
    app.add_option("--alias", options.aliases, "further name that the directory knows (repeatable)")
        ->allow_extra_args(false)
        ->type_name("NAME")
        ->check([](const std::string& name) { return name.empty() ? "a name can't be empty" : ""; });
    app.add_option("--channels", options.channels, "number of channels")
        ->type_name("N")
        ->check(CLI::Range(0, MAX_CHANNELS))
        ->capture_default_str();
    app.add_option("--names", texts.names, "names burnt into the pictures: A,B,C")
        ->type_name("A,B,C")
        ->check(CheckName);

    app.add_option("--size", texts.size,
                   "WIDTHxHEIGHT, multiples of 16 (704x576); N=... for channel N (repeatable)")
        ->allow_extra_args(false)
        ->type_name("[N=]WxH")
        ->group("Pictures")
        ->check([](const std::string& text) { return CheckSize(SplitNumber(text).second); });
    app.add_option("--fps", options.scene.rate, "pictures a second")
        ->type_name("N")
        ->group("Pictures")
        ->check(CLI::Range(1, 60))
        ->capture_default_str();
    app.add_option("--bitrate", options.bitRate, "bits a second and channel; 1500k and 2M are understood")
        ->type_name("RATE")
        ->group("Pictures")
        ->transform(CLI::AsSizeValue(true))
        ->check(CLI::Range(int64_t{8'000}, int64_t{100'000'000}))
        ->default_str("1500k");
    app.add_option("--gop", options.group, "pictures from key picture to key picture (one second's)")
        ->type_name("N")
        ->group("Pictures")
        ->check(CLI::Range(1, 300));
    app.add_option("--motion", texts.motion, "half: half-pel vectors; none: zero vectors only")
        ->type_name("HOW")
        ->group("Pictures")
        ->check(CLI::IsMember({"half", "none"}))
        ->capture_default_str();
    app.add_option("--entropy", texts.entropy, "of H.264: cabac or cavlc")
        ->type_name("HOW")
        ->group("Pictures")
        ->check(CLI::IsMember({"cabac", "cavlc"}))
        ->capture_default_str();
    app.add_option("--preset", options.preset, "effort of the H.264 encoder: ultrafast to medium")
        ->type_name("HOW")
        ->group("Pictures")
        ->check(CLI::IsMember({"ultrafast", "superfast", "veryfast", "faster", "fast", "medium"}))
        ->capture_default_str();
    app.add_option("--checksum", texts.checksum, "bits of the checksum of H.264 units: 0, 16 or 32")
        ->type_name("BITS")
        ->group("Pictures")
        ->check(CLI::IsMember({"0", "16", "32"}))
        ->capture_default_str();
    app.add_option(
           "--source", texts.sources,
           "scene, file, URL, /dev/videoN or lavfi:GRAPH for all channels; N=... for channel N (repeatable)")
        ->type_name("[N=]SOURCE")
        ->allow_extra_args(false)
        ->group("Pictures");
    app.add_option("--sources", texts.sourcesFile,
                   "file with URL, name and size for each channel; only its owner may read it")
        ->type_name("FILE")
        ->group("Pictures");
    app.add_option("--pass-through", texts.pass,
                   "auto: H.264 of a camera goes to clients as it is when they can read it; never")
        ->type_name("WHEN")
        ->group("Pictures")
        ->check(CLI::IsMember({"auto", "never"}))
        ->capture_default_str();
    app.add_option("--loop", options.loopSeconds,
                   "encode so many seconds in advance and send them again and again")
        ->type_name("SECONDS")
        ->group("Pictures")
        ->check(CLI::Range(1, 600));
    app.add_option("--clock", texts.clock, "clock of picture 0: \"2026-11-21 08:40:12\" (now)")
        ->type_name("TIME")
        ->group("Pictures")
        ->check([](const std::string& text) {
            return ParseClock(text) < 0 ? "'" + text + "' is not of the form YYYY-MM-DD HH:MM:SS"
                                        : std::string();
        });
    app.add_flag("--mark", options.scene.mark, "put the picture's number into a corner, for programs to read")
        ->group("Pictures");

    app.add_option("--store", options.store, "keep what channels stream as records in FOLDER (nothing is kept)")
        ->type_name("FOLDER")
        ->group("Records");
    app.add_option("--store-size", options.storeBytes, "bytes of records at most; the oldest make room")
        ->type_name("SIZE")
        ->group("Records")
        ->transform(CLI::AsSizeValue(false))
        ->check(CLI::Range(int64_t{1} << 20, int64_t{1} << 50))
        ->default_str("1G");
    app.add_flag("--records", options.listRecords, "list the records of the store and end")->group("Records");

    app.add_option("--listen", texts.listen, "address to serve on")
        ->type_name("ADDRESS")
        ->group("Network")
        ->check([](const std::string& text) {
            uint32_t address = 0;
            return ParseAddress(text, address) ? std::string() : "'" + text + "' is not an IPv4 address";
        })
        ->capture_default_str();
    const struct {
        const char* name;
        uint16_t& port;
        const char* text;
    } ports[] = {{"--directory-port", options.directoryPort, "TCP; 0 takes a free one"},
                 {"--rendezvous-port", options.rendezvousPort, "UDP; 0 takes a free one"},
                 {"--device-port", options.devicePort, "UDP; 0 takes a free one"}};
    for (const auto& row : ports)
        app.add_option(row.name, row.port, row.text)
            ->type_name("PORT")
            ->group("Network")
            ->capture_default_str();
    app.add_option("--control-port", texts.controlPort, "TCP, for text commands (10060); 0 takes a free one")
        ->type_name("PORT")
        ->group("Network")
        ->check(CLI::Range(0, 65535));
    app.add_option("--data-port", texts.dataPort, "TCP, for direct streams (10061); 0 takes a free one")
        ->type_name("PORT")
        ->group("Network")
        ->check(CLI::Range(0, 65535));
    app.add_option("--clients", options.clients,
                   "clients served at once, by datagrams and by direct streams each")
        ->type_name("N")
        ->group("Network")
        ->check(CLI::Range(1, 4096))
        ->capture_default_str();
    app.add_option("--clients-per-address", options.clientsPerAddress,
                   "of these, from one address; those of the control port aren't counted")
        ->type_name("N")
        ->group("Network")
        ->check(CLI::Range(1, 4096))
        ->capture_default_str();
    app.add_option("--drop-after", options.dropAfterSeconds,
                   "seconds after which a client that is silent, or takes nothing, gets no more")
        ->type_name("SECONDS")
        ->group("Network")
        ->check(CLI::Range(0.1, 3600.0))
        ->capture_default_str();

    const struct {
        const char* name;
        double& rate;
        const char* text;
    } rates[] = {
        {"--loss", options.faults.loss, "percent of datagrams lost"},
        {"--reorder", options.faults.reorder, "percent overtaken by later ones"},
        {"--duplicate", options.faults.duplicate, "percent sent twice"},
        {"--garbage", options.faults.garbage, "percent changed, cut or replaced"},
        {"--wrong-length", options.faults.wrongLength, "percent of messages that tell a wrong length"},
        {"--wrong-type", options.directFaults.wrongType, "percent of direct frames of a wrong type"},
        {"--no-media", options.directFaults.nothing, "percent of direct frames with an empty one before"},
        {"--close", options.directFaults.close, "percent of direct frames that break off"}};
    for (const auto& row : rates)
        app.add_option(row.name, row.rate, row.text)->type_name("PERCENT")->group("Faults")->check(percent);
    app.add_option("--trickle", options.directFaults.trickleMs,
                   "milliseconds between the bytes of direct streams")
        ->type_name("MS")
        ->group("Faults")
        ->check(CLI::Range(0, 10000));
    app.add_option("--delay", texts.delayMs, "milliseconds that every datagram is late")
        ->type_name("MS")
        ->group("Faults")
        ->check(CLI::Range(0.0, 10000.0));
    app.add_option("--faults-on", texts.faultsOn,
                   "whose datagrams: video, device, rendezvous, or several with commas")
        ->type_name("A,B")
        ->group("Faults")
        ->capture_default_str();
    app.add_option("--seed", options.seed, "the same seed does the same harm")
        ->type_name("N")
        ->group("Faults")
        ->capture_default_str();
    app.add_option("--silent", texts.silent, "never answers: directory, rendezvous or device (repeatable)")
        ->type_name("SERVICE")
        ->allow_extra_args(false)
        ->group("Faults")
        ->check(CLI::IsMember({"directory", "rendezvous", "device"}));

    app.add_option("--seconds", options.seconds, "end after so long (never)")
        ->type_name("SECONDS")
        ->group("Run")
        ->check(CLI::Range(0.01, 1e9));
    app.add_option("--report", options.report, "write what was served to FILE, as JSON, at the end")
        ->group("Run")
        ->type_name("FILE");
    app.add_option("--ready-file", options.readyFile, "write the line \"ready ...\" to FILE too")
        ->group("Run")
        ->type_name("FILE");
}

// "0012" becomes "12", "00.5" becomes "0.5".
std::string WithoutLeadingZeros(std::string text)
{
    while (text.size() > 1 && text[0] == '0' && std::isdigit(static_cast<unsigned char>(text[1])) != 0)
        text.erase(0, 1);
    return text;
}

// The parser takes a number behind a zero for an octal one; people, and the directory, don't.
void ReadNumbersAsDecimal(CLI::App& app)
{
    static const std::set<std::string> NUMBERS = {"N", "PORT", "RATE", "SIZE", "SECONDS", "MS", "PERCENT"};
    for (CLI::Option* const option : app.get_options()) {
        const std::string type = option->get_type_name();
        if (NUMBERS.contains(type.substr(0, type.find(':')))) option->transform(WithoutLeadingZeros);
    }
}

void ApplyEntry(const SourceEntry& entry, size_t index, Options& options)
{
    if (!entry.url.empty()) options.sources[index] = entry.url;
    if (entry.width != 0) options.sizes[index] = {entry.width, entry.height};
    if (entry.name.empty()) return;
    auto& names = options.scene.names;
    names.resize(std::max(names.size(), index + 1));
    names[index] = entry.name;
}

// What the file says goes before what the command line says; without --channels there are as many as it names.
std::string ApplySources(Options& options, const TextTable& texts)
{
    std::map<int, SourceEntry> entries;
    try {
        if (!texts.sourcesFile.empty()) entries = ReadSources(texts.sourcesFile);
    } catch (const SourcesFault& fault) {
        return "--sources " + texts.sourcesFile + ": " + fault.what();
    }
    if (!entries.empty() && !texts.channels) options.channels = entries.rbegin()->first;
    const auto channels = static_cast<size_t>(options.channels);
    options.sources.assign(channels, std::string(SCENE));
    options.sizes.assign(channels, {options.scene.width, options.scene.height});
    for (const std::string& text : texts.size) {
        const auto [channel, given] = SplitNumber(text);
        Options::Size size;
        ParseSize(given, size.width, size.height);
        if (!ApplyToChannel(channel, size, options.sizes))
            return "--size " + text + ": there is no such channel";
    }
    for (const std::string& source : texts.sources)
        if (auto wrong = ApplySource(source, options.sources); !wrong.empty()) return wrong;
    for (const auto& [channel, entry] : entries) {
        if (channel > options.channels)
            return "--sources " + texts.sourcesFile + ": there is no channel " + std::to_string(channel);
        ApplyEntry(entry, static_cast<size_t>(channel - 1), options);
    }
    return {};
}

// Empty, or what is wrong.
std::string Complete(Options& options, const TextTable& texts)
{
    for (const std::string& text : texts.size)
        if (const auto [channel, size] = SplitNumber(text); channel == 0)
            ParseSize(size, options.scene.width, options.scene.height);
    ParseAddress(texts.listen, options.listen);
    options.scene.names = SplitAtCommas(texts.names);
    options.scene.clockStart = texts.clock.empty() ? WallClockNow() : ParseClock(texts.clock);
    options.motion = texts.motion == "none" ? EMotion::None : EMotion::Half;
    options.entropy = texts.entropy == "cavlc" ? EEntropy::Cavlc : EEntropy::Cabac;
    options.checksum = texts.checksum == "16"   ? EChecksum::Sixteen
                       : texts.checksum == "32" ? EChecksum::ThirtyTwo
                                                : EChecksum::None;
    // The mark stands in pictures that are coded here only.
    options.passThrough = texts.pass == "auto" && !options.scene.mark;
    // A recorder among others, whose directory takes a free port, takes free ones here too.
    const bool amongOthers = options.directoryPort == 0;
    const auto port = [&](int given, uint16_t usual) {
        return given >= 0 ? static_cast<uint16_t>(given) : amongOthers ? uint16_t{0} : usual;
    };
    options.controlPort = port(texts.controlPort, options.controlPort);
    options.dataPort = port(texts.dataPort, options.dataPort);
    options.directFaults.wrongLength = options.faults.wrongLength;
    options.faults.delay = static_cast<TimeUs>(texts.delayMs * MILLISECOND);
    if (options.group == 0) options.group = options.scene.rate;
    if (auto wrong = ApplySources(options, texts); !wrong.empty()) return wrong;
    if (options.listRecords && options.store.empty()) return "--records: of which --store?";
    if (options.storeBytes < options.channels * STORE_BYTES_PER_CHANNEL)
        return "--store-size: each channel needs 1M at least";
    if (options.loopSeconds > 0 && std::any_of(options.sources.begin(), options.sources.end(), IsLive))
        return "--loop: a live source can't be encoded in advance";
    for (const std::string& service : texts.silent)
        options.silent.insert(SERVICES.at(service));
    options.faultsOn.clear();
    for (const std::string& service : SplitAtCommas(texts.faultsOn)) {
        const auto it = SERVICES.find(service);
        if (it == SERVICES.end() || it->second == EService::Directory)
            return "--faults-on: '" + service + "' is none of video, device, rendezvous";
        options.faultsOn.insert(it->second);
    }
    return {};
}

}  // namespace

ParsedOptions ParseOptions(int argc, const char* const* argv)
{
    ParsedOptions parsed;
    TextTable texts;
    CLI::App app(DESCRIPTION, "watchwall-recorder");
    try {
        Declare(app, parsed.options, texts);
        ReadNumbersAsDecimal(app);
        app.parse(argc, argv);
        texts.channels = app.count("--channels") > 0;
        parsed.say = Complete(parsed.options, texts);
        if (!parsed.say.empty()) {
            parsed.say = "watchwall-recorder: " + parsed.say + "\n";
            parsed.exit = 2;
            return parsed;
        }
        parsed.run = true;
    } catch (const CLI::ParseError& e) {
        std::ostringstream out;
        std::ostringstream err;
        parsed.exit = app.exit(e, out, err) == 0 ? 0 : 2;
        parsed.say = out.str() + err.str();
    } catch (const std::exception& e) {
        parsed.exit = 2;
        parsed.say = std::string("watchwall-recorder: ") + e.what() + "\n";
    }
    return parsed;
}

}  // namespace recorder
