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

std::string SizeText(const XOptions::XSize& size)
{
    return std::to_string(size.m_iWidth) + "x" + std::to_string(size.m_iHeight);
}

json ClientEntry(const XClientCounts& client)
{
    json streams = json::array();
    for (const auto& [channel, stream] : client.m_Streams)
        streams.push_back({{"channel", channel + 1},
                           {"pictures", stream.m_ulPictures},
                           {"bytes", stream.m_ulBytes},
                           {"dropped", stream.m_ulDropped}});
    return {{"endpoint", EndpointText(client.m_Endpoint)},
            {"name", client.m_strName},
            {"requests", client.m_ulRequests},
            {"datagrams", client.m_ulDatagrams},
            {"bytes", client.m_ulBytes},
            {"acknowledged", client.m_ulAcknowledged},
            {"left", FarewellText(client.m_Farewell)},
            {"streams", streams}};
}

json DataEntry(const CDataServer& server)
{
    json clients = json::array();
    for (const auto& client : server.Clients())
        clients.push_back({{"endpoint", EndpointText(client.m_Endpoint)},
                           {client.m_iRecord >= 0 ? "record" : "channel",
                            client.m_iRecord >= 0 ? client.m_iRecord : client.m_iChannel + 1},
                           {"codec", client.m_Codec == ECodec::H264 ? "h264" : "mpeg4"},
                           {"pictures", client.m_ulPictures},
                           {"bytes", client.m_ulBytes},
                           {"dropped", client.m_ulDropped}});
    const auto& counts = server.Counts();
    return {{"connections", counts.m_ulConnections}, {"turned away", counts.m_ulTurnedAway},
            {"refused", counts.m_ulRefused},         {"queries", counts.m_ulQueries},
            {"played", counts.m_ulPlayed},           {"timeouts", counts.m_ulTimeouts},
            {"harmed frames", counts.m_ulHarmed},    {"clients", clients}};
}

json StoreEntry(const Store* pStore)
{
    if (pStore == nullptr) return nullptr;
    json records = json::array();
    for (const StoredRecord& record : pStore->Records())
        records.push_back({{"id", record.name.id},
                           {"channel", record.name.channel + 1},
                           {"start", TimeText(record.name.start)},
                           {"bytes", record.bytes}});
    const StoreCounts counts = pStore->Counts();
    return {{"pictures", counts.pictures},
            {"left out", counts.leftOut},
            {"removed", counts.removed},
            {"failures", counts.failures},
            {"records", records}};
}

json HarmDone(const CFaults::XCounts& rendezvous, const CFaults::XCounts& device)
{
    return {{"lost", rendezvous.m_ulLost + device.m_ulLost},
            {"reordered", rendezvous.m_ulReordered + device.m_ulReordered},
            {"duplicated", rendezvous.m_ulDuplicated + device.m_ulDuplicated},
            {"garbled", rendezvous.m_ulGarbled + device.m_ulGarbled},
            {"wrong lengths", device.m_ulWrongLengths}};
}

}  // namespace

json MakeReport(const XReportInput& input)
{
    std::vector<XClientCounts> clients = input.m_Device.FormerClients();
    for (XClientCounts& client : input.m_Device.Clients())
        clients.push_back(std::move(client));

    struct XSent {
        uint64_t m_ulPictures = 0;
        uint64_t m_ulBytes = 0;
        uint64_t m_ulDropped = 0;
    };
    std::map<int, XSent> sent;  // by channel
    uint64_t datagrams = 0;
    uint64_t acknowledged = 0;
    uint64_t bytes = 0;
    json clientList = json::array();
    for (const XClientCounts& client : clients) {
        clientList.push_back(ClientEntry(client));
        datagrams += client.m_ulDatagrams;
        acknowledged += client.m_ulAcknowledged;
        bytes += client.m_ulBytes;
        for (const auto& [channel, stream] : client.m_Streams) {
            sent[channel].m_ulPictures += stream.m_ulPictures;
            sent[channel].m_ulBytes += stream.m_ulBytes;
            sent[channel].m_ulDropped += stream.m_ulDropped;
        }
    }

    json channelList = json::array();
    uint64_t pictures = 0;
    for (size_t i = 0; i < input.m_Channels.size(); ++i) {
        const XChannelCounts& channel = input.m_Channels[i].m_Mpeg4;
        const XChannelCounts& h264 = input.m_Channels[i].m_H264;
        const XSent& of = sent[static_cast<int>(i)];
        pictures += of.m_ulPictures;
        channelList.push_back(
            {{"channel", i + 1},
             {"source", WithoutSecrets(input.m_Options.m_Sources[i])},
             {"size", SizeText(input.m_Options.m_Sizes[i])},
             {"pictures", channel.m_ulPictures},
             {"keys", channel.m_ulKeys},
             {"bytes", channel.m_ulBytes},
             {"largest", channel.m_ulLargest},
             {"quantiser", channel.m_iQuant},
             {"coarser", channel.m_ulCoarser},
             {"too large", channel.m_ulTooLarge},
             {"skipped", channel.m_ulSkipped},
             {"h264",
              {{"pictures", h264.m_ulPictures},
               {"keys", h264.m_ulKeys},
               {"bytes", h264.m_ulBytes},
               {"largest", h264.m_ulLargest},
               {"too large", h264.m_ulTooLarge},
               {"skipped", h264.m_ulSkipped},
               {"passed", input.m_Channels[i].m_Pass.passed},
               {"coded anew since", input.m_Channels[i].m_Pass.why}}},
             {"sent", {{"pictures", of.m_ulPictures}, {"bytes", of.m_ulBytes}, {"dropped", of.m_ulDropped}}}});
    }

    const auto& directory = input.m_Directory.Counts();
    const auto& rendezvous = input.m_Rendezvous.Counts();
    const auto& device = input.m_Device.Counts();
    const auto& control = input.m_Control.Counts();
    return {
        {"id", input.m_Options.m_iNetId},
        {"seconds", input.m_dSeconds},
        {"channels", channelList},
        {"clients", clientList},
        {"directory",
         {{"connections", directory.m_ulConnections},
          {"answered", directory.m_ulAnswered},
          {"refused", directory.m_ulRefused},
          {"timeouts", directory.m_ulTimeouts},
          {"turned away", directory.m_ulTurnedAway}}},
        {"rendezvous",
         {{"users", input.m_Rendezvous.Users()},
          {"logins", rendezvous.m_ulLogins},
          {"logouts", rendezvous.m_ulLogouts},
          {"lists", rendezvous.m_ulLists},
          {"punches", rendezvous.m_ulPunches},
          {"unknown wanted", rendezvous.m_ulUnknownWanted},
          {"strangers", rendezvous.m_ulStrangers},
          {"forgotten", rendezvous.m_ulForgotten},
          {"refused logins", rendezvous.m_ulRefusedLogins},
          {"displaced", rendezvous.m_ulDisplaced},
          {"logins by punch", rendezvous.m_ulPunchLogins},
          {"malformed", FaultTable(rendezvous.m_Faults)}}},
        {"device",
         {{"probes", device.m_ulProbes},
          {"punches", device.m_ulPunches},
          {"server punches", device.m_ulServerPunches},
          {"requests", device.m_ulRequests},
          {"bad requests", device.m_ulBadRequests},
          {"refused clients", device.m_ulRefusedClients},
          {"malformed", FaultTable(device.m_Faults)}}},
        {"control",
         {{"connections", control.m_ulConnections},
          {"commands", control.m_ulCommands},
          {"unknown", control.m_ulUnknown},
          {"damaged", control.m_ulDamaged},
          {"timeouts", control.m_ulTimeouts},
          {"turned away", control.m_ulTurnedAway}}},
        {"data", DataEntry(input.m_Data)},
        {"store", StoreEntry(input.m_pStore)},
        {"faults", HarmDone(input.m_RendezvousRoad.Faults().Counts(), input.m_DeviceRoad.Faults().Counts())},
        {"totals",
         {{"pictures", pictures},
          {"bytes", bytes},
          {"datagrams", datagrams},
          {"acknowledged", acknowledged},
          {"not sent", input.m_RendezvousRoad.NotSent() + input.m_DeviceRoad.NotSent()}}}};
}

}  // namespace recorder
