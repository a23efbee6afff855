#include "activex/ActiveXCtrl.h"
#include "model/NodeModel.h"
#include "model/tree/CompositeIterator.h"
#include "model/tree/Folder.h"
#include "remote/UdpRemote.h"
#include "remote/UdpRemoteStation.h"

namespace
{

/// Calls `visit` with each node of that class in the tree, in its order.
template <typename Node, typename Visit>
HRESULT ForEachNode(Visit visit)
{
    CNodeModel* const model = CNodeModel::GetInstance();
    if (model == nullptr) return E_FAIL;
    CCompositeIterator walk(model->GetRoot()->CreateIterator());
    for (; walk.HasNext(); walk.Next()) {
        if (auto* const node = dynamic_cast<Node*>(walk.CurrentItem())) visit(*node);
    }
    return S_OK;
}

}  // namespace

HRESULT CActiveXCtrl::GetChannels(std::vector<ChannelReport>& channels)
{
    channels.clear();
    return ForEachNode<CUdpRemote>([&channels](CUdpRemote& device) {
        const CLinkCounters& counters = device.GetCounters();
        ChannelReport report;
        report.name = device.GetName();
        report.channel = device.m_iDevID;
        report.width = counters.width;
        report.height = counters.height;
        report.decoded = counters.decoded;
        report.shown = counters.shown;
        report.skipped = counters.skipped;
        report.withoutCell = counters.withoutCell;
        report.notConvertible = counters.notConvertible;
        report.refused = counters.refused;
        report.bytes = counters.bytes;
        report.firstPictureMs = counters.firstPictureMs;
        channels.push_back(report);
    });
}

HRESULT CActiveXCtrl::GetStations(std::vector<StationReport>& stations)
{
    stations.clear();
    return ForEachNode<CUdpRemoteStation>([&stations](CUdpRemoteStation& station) {
        if (station.GetSession() == nullptr) return;
        stations.push_back({station.GetName(), station.GetSession()->GetCounters().dropped});
    });
}
