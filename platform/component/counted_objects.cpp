#include "platform/component/counted_objects.h"

HRESULT CClassFactory::CreateInstance(IUnknown* outer, const UUID& iid, void** object)
{
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    IUnknown* const made = m_Maker();
    if (made == nullptr) return E_FAIL;
    const HRESULT result = made->QueryInterface(iid, object);
    made->Release();
    return result;
}

HRESULT CClassFactory::LockServer(bool lock)
{
    if (lock) {
        LockComponentModule();
    } else {
        UnlockComponentModule();
    }
    return S_OK;
}

HRESULT CEventPoint::Advise(IEventSink* sink)
{
    if (sink == nullptr) return E_POINTER;
    if (m_pSink != nullptr) return CONNECT_E_ADVISELIMIT;
    m_pSink = sink;
    return S_OK;
}

HRESULT CEventPoint::Unadvise()
{
    if (m_pSink == nullptr) return CONNECT_E_NOCONNECTION;
    m_pSink = nullptr;
    return S_OK;
}

void CEventPoint::Fire(std::int32_t dispid) const
{
    if (m_pSink != nullptr) m_pSink->OnEvent(dispid);
}
