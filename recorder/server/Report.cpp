#include "recorder/server/Report.h"

#include <map>

#include "recorder/media/SourceText.h"

namespace recorder
{

namespace
{

using nlohmann::json;

json FaultTable(const std::array<uint64_t, WIRE_FAULTS>& faults)
{
    json table = json::object();
    for (size_t i = 1; i < WIRE_FAULTS; ++i)
        table[WireFaultText(static_cast<EWireFault>(i))] = faults[i];
    return table;
}

std::string SizeText(const Options::Size& size)
{
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

json ClientEntry(const ClientCounts& client)
{
    json streams = json::array();
    for (const auto& [channel, stream] : client.streams)
        streams.push_back({{"channel", channel + 1},
                           {"pictures", stream.pictures},
                           {"bytes", stream.bytes},
                           {"dropped", stream.dropped}});
    return {{"endpoint", EndpointText(client.endpoint)},
            {"name", client.name},
            {"requests", client.requests},
            {"datagrams", client.datagrams},
            {"bytes", client.bytes},
            {"acknowledged", client.acknowledged},
            {"left", DisconnectReasonText(client.disconnectReason)},
            {"streams", streams}};
}

// Over both links.
json SentEntry(const ClientCounts::Stream& byDatagrams, const DataServer::Sent& direct)
{
    return {{"pictures", byDatagrams.pictures + direct.pictures},
            {"bytes", byDatagrams.bytes + direct.bytes},
            {"dropped", byDatagrams.dropped + direct.dropped}};
}

json DataEntry(const DataServer& server)
{
    json clients = json::array();
    for (const auto& client : server.Clients())
        clients.push_back({{"endpoint", EndpointText(client.endpoint)},
                           {client.record >= 0 ? "record" : "channel",
                            client.record >= 0 ? client.record : client.channel + 1},
                           {"codec", client.codec == ECodec::H264 ? "h264" : "mpeg4"},
                           {"pictures", client.pictures},
                           {"bytes", client.bytes},
                           {"dropped", client.dropped}});
    const auto& counts = server.Counts();
    return {{"connections", counts.connections}, {"turned away", counts.turnedAway},
            {"refused", counts.refused},         {"queries", counts.queries},
            {"played", counts.played},           {"timeouts", counts.timeouts},
            {"harmed frames", counts.harmed},    {"clients", clients}};
}

json StoreEntry(const Store* store)
{
    if (store == nullptr) return nullptr;
    json records = json::array();
    for (const StoredRecord& record : store->Records())
        records.push_back({{"id", record.name.id},
                           {"channel", record.name.channel + 1},
                           {"start", TimeText(record.name.start)},
                           {"bytes", record.bytes}});
    const StoreCounts counts = store->Counts();
    return {{"pictures", counts.pictures},
            {"left out", counts.leftOut},
            {"removed", counts.removed},
            {"failures", counts.failures},
            {"records", records}};
}

json HarmDone(const Faults::Counters& rendezvous, const Faults::Counters& device)
{
    return {{"lost", rendezvous.lost + device.lost},
            {"reordered", rendezvous.reordered + device.reordered},
            {"duplicated", rendezvous.duplicated + device.duplicated},
            {"garbled", rendezvous.garbled + device.garbled},
            {"wrong lengths", device.wrongLengths}};
}

}  // namespace

json MakeReport(const ReportInput& input)
{
    std::vector<ClientCounts> clients = input.device.FormerClients();
    for (ClientCounts& client : input.device.Clients())
        clients.push_back(std::move(client));

    ClientCounts all = input.device.EarlierClients();
    json clientList = json::array();
    for (const ClientCounts& client : clients) {
        clientList.push_back(ClientEntry(client));
        all.Add(client);
    }

    json channelList = json::array();
    std::map<int, DataServer::Sent> direct = input.data.AllSent();
    uint64_t pictures = 0;
    uint64_t bytes = all.bytes;
    for (const auto& [channel, sent] : direct) {  // among them what records sent, which belongs to no channel
        pictures += sent.pictures;
        bytes += sent.bytes;
    }
    for (size_t i = 0; i < input.channels.size(); ++i) {
        const ChannelCounts& channel = input.channels[i].mpeg4;
        const ChannelCounts& h264 = input.channels[i].h264;
        const ClientCounts::Stream& of = all.streams[static_cast<int>(i)];
        pictures += of.pictures;
        channelList.push_back({{"channel", i + 1},
                               {"source", SourceWithoutSecrets(input.options.sources[i])},
                               {"size", SizeText(input.options.sizes[i])},
                               {"pictures", channel.pictures},
                               {"keys", channel.keys},
                               {"bytes", channel.bytes},
                               {"largest", channel.largest},
                               {"quantiser", channel.quant},
                               {"coarser", channel.coarser},
                               {"too large", channel.tooLarge},
                               {"skipped", channel.skipped},
                               {"left out", channel.leftOut},
                               {"h264",
                                {{"pictures", h264.pictures},
                                 {"keys", h264.keys},
                                 {"bytes", h264.bytes},
                                 {"largest", h264.largest},
                                 {"too large", h264.tooLarge},
                                 {"skipped", h264.skipped},
                                 {"left out", h264.leftOut + input.channels[i].pass.leftOut},
                                 {"passed", input.channels[i].pass.passed},
                                 {"damaged", input.channels[i].pass.damaged},
                                 {"re-encoded since", input.channels[i].pass.why}}},
                               {"sent", SentEntry(of, direct[static_cast<int>(i)])}});
    }

    const auto& directory = input.directory.Counts();
    const auto& rendezvous = input.rendezvous.Counts();
    const auto& device = input.device.Counts();
    const auto& control = input.control.Counts();
    return {{"id", input.options.netId},
            {"seconds", input.seconds},
            {"channels", channelList},
            {"clients", clientList},
            {"directory",
             {{"connections", directory.connections},
              {"answered", directory.answered},
              {"refused", directory.refused},
              {"timeouts", directory.timeouts},
              {"turned away", directory.turnedAway}}},
            {"rendezvous",
             {{"users", input.rendezvous.Users()},
              {"logins", rendezvous.logins},
              {"logouts", rendezvous.logouts},
              {"lists", rendezvous.lists},
              {"punches", rendezvous.punches},
              {"unknown wanted", rendezvous.unknownWanted},
              {"strangers", rendezvous.strangers},
              {"forgotten", rendezvous.forgotten},
              {"refused logins", rendezvous.refusedLogins},
              {"displaced", rendezvous.displaced},
              {"logins by punch", rendezvous.punchLogins},
              {"malformed", FaultTable(rendezvous.faults)}}},
            {"device",
             {{"probes", device.probes},
              {"punches", device.punches},
              {"server punches", device.serverPunches},
              {"requests", device.requests},
              {"bad requests", device.badRequests},
              {"refused clients", device.refusedClients},
              {"malformed", FaultTable(device.faults)}}},
            {"control",
             {{"connections", control.connections},
              {"commands", control.commands},
              {"unknown", control.unknown},
              {"damaged", control.damaged},
              {"timeouts", control.timeouts},
              {"turned away", control.turnedAway}}},
            {"data", DataEntry(input.data)},
            {"store", StoreEntry(input.store)},
            {"faults", HarmDone(input.rendezvousTransport.GetFaults().Counts(),
                                input.deviceTransport.GetFaults().Counts())},
            {"totals",
             {{"pictures", pictures},
              {"bytes", bytes},
              {"datagrams", all.datagrams},
              {"acknowledged", all.acknowledged},
              {"not sent", input.rendezvousTransport.NotSent() + input.deviceTransport.NotSent()}}}};
}

std::string ReportText(const json& report)
{
    return report.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

}  // namespace recorder
