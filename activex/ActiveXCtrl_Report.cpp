#include "activex/ActiveXCtrl.h"
#include "model/NodeModel.h"
#include "model/tree/CompositeIterator.h"
#include "model/tree/Folder.h"
#include "remote/UdpRemote.h"

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
        report.strName = device->GetName();
        report.iChannel = device->m_iDevID;
        report.iWidth = counters.width;
        report.iHeight = counters.height;
        report.ulDecoded = counters.decoded;
        report.ulShown = counters.shown;
        report.ulSkipped = counters.skipped;
        report.ulWithoutCell = counters.withoutCell;
        report.ulNotConvertible = counters.notConvertible;
        report.ulRefused = counters.refused;
        report.ulBytes = counters.bytes;
        report.iFirstPictureMs = counters.firstPictureMs;
        channels.push_back(report);
    }
    return S_OK;
}
