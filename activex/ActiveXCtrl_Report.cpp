#include "activex/ActiveXCtrl.h"
#include "model/NodeModel.h"
#include "model/tree/CompositeIterator.h"
#include "model/tree/Folder.h"
#include "remote/UdpRemote.h"
#include "remote/UdpRemoteStation.h"

HRESULT CActiveXCtrl::GetChannels(std::vector<ChannelReport>& channels)
{
    channels.clear();
    CNodeModel* const model = CNodeModel::GetInstance();
    if (model == nullptr) return E_FAIL;
    CCompositeIterator walk(model->GetRoot()->CreateIterator());
    for (; walk.HasNext(); walk.Next()) {
        auto* const device = dynamic_cast<CUdpRemote*>(walk.CurrentItem());
        if (device == nullptr) continue;
        const CLinkCounters& counters = device->GetCounters();
        ChannelReport report;
        report.name = device->GetName();
        report.channel = device->m_iDevID;
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
    }
    return S_OK;
}

HRESULT CActiveXCtrl::GetStations(std::vector<StationReport>& stations)
{
    stations.clear();
    CNodeModel* const model = CNodeModel::GetInstance();
    if (model == nullptr) return E_FAIL;
    CCompositeIterator walk(model->GetRoot()->CreateIterator());
    for (; walk.HasNext(); walk.Next()) {
        auto* const station = dynamic_cast<CUdpRemoteStation*>(walk.CurrentItem());
        if (station == nullptr || station->GetSession() == nullptr) continue;
        stations.push_back({station->GetName(), station->GetSession()->GetCounters().dropped});
    }
    return S_OK;
}
