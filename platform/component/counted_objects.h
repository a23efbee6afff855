#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <utility>

#include "inc/host/Component.h"
#include "platform/os/module_count.h"

// What objects of the component model are made from; the interfaces are in inc/host/Component.h, the registry
// in platform/component/component_registry.h.

/// Implements the counted base for an object with the interfaces given. A new object has one reference, its
/// maker's; only Release destroys it. QueryInterface for IUnknown answers the first
/// interface's.
template <class TFirst, class... TOthers>
class CUnknown : public TFirst, public TOthers...
{
  public:
    CUnknown() { LockComponentModule(); }
    virtual ~CUnknown() { UnlockComponentModule(); }
    CUnknown(const CUnknown&) = delete;
    CUnknown& operator=(const CUnknown&) = delete;

    HRESULT QueryInterface(const UUID& iid, void** object) override
    {
        if (object == nullptr) return E_POINTER;
        *object = iid == IUnknown::IID ? static_cast<TFirst*>(this) : nullptr;
        (void)(Offer<TFirst>(iid, object) || ... || Offer<TOthers>(iid, object));
        if (*object == nullptr) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

    std::uint32_t AddRef() override { return ++m_ulReferences; }

    std::uint32_t Release() override
    {
        const std::uint32_t left = --m_ulReferences;
        if (left > 0) return left;
        ++m_ulReferences;  // whom the object tells of its end may ask it for an interface and give that back
        Destroy();
        return 0;
    }

  protected:
    /// Called once, when the last reference has gone. Deletes the object, now or later.
    virtual void Destroy() { delete this; }

  private:
    template <class T>
    bool Offer(const UUID& iid, void** object)
    {
        if (iid != T::IID) return false;
        *object = static_cast<T*>(this);
        return true;
    }

    std::atomic<std::uint32_t> m_ulReferences = 1;
};

/// A factory that makes its objects with a function. The function returns a new object with one reference, or
/// null when it can't make one (E_FAIL).
class CClassFactory : public CUnknown<IClassFactory>
{
  public:
    using CMaker = std::function<IUnknown*()>;
    explicit CClassFactory(CMaker maker) : m_Maker(std::move(maker)) {}

    HRESULT CreateInstance(IUnknown* outer, const UUID& iid, void** object) override;
    HRESULT LockServer(bool lock) override;

  private:
    const CMaker m_Maker;
};

/// The one event sink of an object: what an IEventSource hands its calls on to.
class CEventPoint
{
  public:
    HRESULT Advise(IEventSink* sink);
    HRESULT Unadvise();
    /// Tells the sink, if there is one. The sink may disconnect itself meanwhile.
    void Fire(std::int32_t dispid) const;

  private:
    IEventSink* m_pSink = nullptr;
};
