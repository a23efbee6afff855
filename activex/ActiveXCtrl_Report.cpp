#include "activex/ActiveXCtrl.h"
#include "model/NodeModel.h"
#include "model/tree/CompositeIterator.h"
#include "model/tree/Folder.h"
#include "remote/UdpRemote.h"

HRESULT CActiveXCtrl::GetChannels(std::vector<XChannelReport>& channels)
{
    channels.clear();
    CNodeModel* const model = CNodeModel::GetInstance();
    if (model == nullptr) return E_FAIL;
    CCompositeIterator walk(model->GetRoot()->CreateIterator());
    for (; walk.HasNext(); walk.Next()) {
        auto* const device = dynamic_cast<CUdpRemote*>(walk.CurrentItem());
        if (device == nullptr) continue;
        const CLinkCounters& counters = device->GetCounters();
        XChannelReport report;
        report.strName = device->GetName();
        report.iChannel = device->m_iDevID;
        report.iWidth = counters.m_iWidth;
        report.iHeight = counters.m_iHeight;
        report.ulDecoded = counters.m_ulDecoded;
        report.ulShown = counters.m_ulShown;
        report.ulSkipped = counters.m_ulSkipped;
        report.ulWithoutCell = counters.m_ulWithoutCell;
        report.ulNotConvertible = counters.m_ulNotConvertible;
        report.ulRefused = counters.m_ulRefused;
        report.ulBytes = counters.m_ulBytes;
        report.iFirstPictureMs = counters.m_iFirstPictureMs;
        channels.push_back(report);
    }
    return S_OK;
}
