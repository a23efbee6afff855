#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The component interface that hosts see: results, identifiers, the counted base, class factories, dispatch by
// number and events. What is left out of the platform's own: aggregation, marshalling, type information at run
// time, values other than texts. All calls on one object come from the host's thread that created it.

// Results.

/// Negative is failure.
using HRESULT = std::int32_t;

constexpr HRESULT MakeResult(std::uint32_t code)
{
    return static_cast<HRESULT>(code);
}
constexpr bool FAILED(HRESULT result)
{
    return result < 0;
}
constexpr bool SUCCEEDED(HRESULT result)
{
    return result >= 0;
}

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOINTERFACE = MakeResult(0x80004002);
inline constexpr HRESULT E_POINTER = MakeResult(0x80004003);
inline constexpr HRESULT E_FAIL = MakeResult(0x80004005);
inline constexpr HRESULT E_INVALIDARG = MakeResult(0x80070057);
inline constexpr HRESULT DISP_E_MEMBERNOTFOUND = MakeResult(0x80020003);
inline constexpr HRESULT DISP_E_BADPARAMCOUNT = MakeResult(0x8002000E);
inline constexpr HRESULT TYPE_E_REGISTRYACCESS = MakeResult(0x8002801C);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = MakeResult(0x80040110);
inline constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = MakeResult(0x80040111);
inline constexpr HRESULT REGDB_E_WRITEREGDB = MakeResult(0x80040151);
/// The two failures of a module's self-registration.
inline constexpr HRESULT SELFREG_E_TYPELIB = MakeResult(0x80040200);
inline constexpr HRESULT SELFREG_E_CLASS = MakeResult(0x80040201);
/// Of IEventSource: nobody is connected, or somebody already is. The numbers are shared with self-registration.
inline constexpr HRESULT CONNECT_E_NOCONNECTION = MakeResult(0x80040200);
inline constexpr HRESULT CONNECT_E_ADVISELIMIT = MakeResult(0x80040201);

// Identifiers.

/// A universally unique identifier; its bytes in the order of its text.
struct UUID {
    std::array<std::uint8_t, 16> bytes{};
    friend constexpr bool operator==(const UUID&, const UUID&) = default;
    friend constexpr auto operator<=>(const UUID&, const UUID&) = default;
};

/// Reads "1e9e3aba-c093-40fc-ab67-a3ed42a0b28b", in either case, with or without braces around it. False, and
/// `id` stays, for anything else.
constexpr bool ParseUuid(std::string_view text, UUID& id)
{
    constexpr std::string_view FORM = "00000000-0000-0000-0000-000000000000";
    if (text.size() == FORM.size() + 2 && text.front() == '{' && text.back() == '}') {
        text = text.substr(1, FORM.size());
    }
    if (text.size() != FORM.size()) return false;
    UUID read;
    std::size_t digits = 0;
    for (std::size_t i = 0; i < FORM.size(); ++i) {
        const char c = text[i];
        if (FORM[i] == '-') {
            if (c != '-') return false;
            continue;
        }
        int value = 0;
        if (c >= '0' && c <= '9') {
            value = c - '0';
        } else if (c >= 'a' && c <= 'f') {
            value = c - 'a' + 10;
        } else if (c >= 'A' && c <= 'F') {
            value = c - 'A' + 10;
        } else {
            return false;
        }
        auto& byte = read.bytes[digits++ / 2];
        byte = static_cast<std::uint8_t>(byte * 16 + value);
    }
    id = read;
    return true;
}

/// For identifiers that stand in the source; a wrong text does not compile.
consteval UUID MakeUuid(std::string_view text)
{
    UUID id;
    if (!ParseUuid(text, id)) throw "not the text of an identifier";
    return id;
}

/// "{1E9E3ABA-C093-40FC-AB67-A3ED42A0B28B}"
inline std::string UuidText(const UUID& id)
{
    constexpr std::string_view DIGITS = "0123456789ABCDEF";
    std::string text = "{";
    for (std::size_t i = 0; i < id.bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        text += DIGITS[id.bytes[i] >> 4];
        text += DIGITS[id.bytes[i] & 15];
    }
    return text + '}';
}

// Interfaces. Each has its identifier as IID; the object is destroyed by its last Release.

class IUnknown
{
  public:
    static constexpr UUID IID = MakeUuid("1e9e3aba-c093-40fc-ab67-a3ed42a0b28b");
    /// Sets *object to the interface `iid` of the same object, with a reference that the caller gives back.
    /// E_POINTER for a null `object`; E_NOINTERFACE, and *object is null, when the object hasn't that
    /// interface.
    virtual HRESULT QueryInterface(const UUID& iid, void** object) = 0;
    /// Both return the new count.
    virtual std::uint32_t AddRef() = 0;
    virtual std::uint32_t Release() = 0;

  protected:
    ~IUnknown() = default;
};

class IClassFactory : public IUnknown
{
  public:
    static constexpr UUID IID = MakeUuid("9998491b-8865-40d2-b509-715a89d36776");
    /// Makes an object and asks it for `iid`. `outer` must be null (CLASS_E_NOAGGREGATION).
    virtual HRESULT CreateInstance(IUnknown* outer, const UUID& iid, void** object) = 0;
    /// Keeps the module loaded; counted, each true wants its false.
    virtual HRESULT LockServer(bool lock) = 0;

  protected:
    ~IClassFactory() = default;
};

enum class EDispatch {
    Method = 1,
    PropertyGet = 2,
    PropertyPut = 4,
};

class IDispatch : public IUnknown
{
  public:
    static constexpr UUID IID = MakeUuid("a3990093-ed92-4134-8f66-8d04f91c92b0");
    /// Calls the member with the number `dispid`. A get takes no argument and sets *result (which may be null);
    /// a put takes the new value as its only argument. DISP_E_MEMBERNOTFOUND when there is no such member of
    /// this kind, DISP_E_BADPARAMCOUNT.
    virtual HRESULT Invoke(std::int32_t dispid, EDispatch kind, const std::vector<std::string>& arguments,
                           std::string* result) = 0;

  protected:
    ~IDispatch() = default;
};

/// A host's receiver of an object's events; called on the host's thread.
class IEventSink
{
  public:
    virtual void OnEvent(std::int32_t dispid) = 0;

  protected:
    ~IEventSink() = default;
};

class IEventSource : public IUnknown
{
  public:
    static constexpr UUID IID = MakeUuid("c79bfa45-be21-40b9-8db4-2dde76605ab5");
    /// Connects the one sink, which must stay valid until Unadvise. CONNECT_E_ADVISELIMIT when there is one,
    /// E_POINTER for null.
    virtual HRESULT Advise(IEventSink* sink) = 0;
    /// CONNECT_E_NOCONNECTION when there is none.
    virtual HRESULT Unadvise() = 0;
    /// The identifier of the events, under which their type library describes them.
    virtual UUID GetEventInterface() = 0;

  protected:
    ~IEventSource() = default;
};

// Component categories of objects that a host page may use without asking.
inline constexpr UUID CATID_SafeForInitializing = MakeUuid("70f0ab99-3eb5-4f36-9069-336f3f860f35");
inline constexpr UUID CATID_SafeForScripting = MakeUuid("052c5935-782f-476c-9574-1a28f57ba9a0");

/// What a module exports, by these names, with C linkage.
using DLLGETCLASSOBJECT = HRESULT (*)(const UUID& classId, const UUID& iid, void** factory);
/// S_OK when no object, no lock and no thread of the module is left, else S_FALSE.
using DLLCANUNLOADNOW = HRESULT (*)();
using DLLREGISTERSERVER = HRESULT (*)();
using DLLUNREGISTERSERVER = HRESULT (*)();

/// Holds one reference to an object, or none.
template <class T>
class CComPtr
{
  public:
    CComPtr() = default;
    explicit CComPtr(T* object) : m_pObject(object)
    {
        if (m_pObject != nullptr) m_pObject->AddRef();
    }
    CComPtr(const CComPtr& other) : CComPtr(other.m_pObject) {}
    CComPtr(CComPtr&& other) noexcept : m_pObject(std::exchange(other.m_pObject, nullptr)) {}
    ~CComPtr() { Reset(); }
    CComPtr& operator=(CComPtr other) noexcept
    {
        std::swap(m_pObject, other.m_pObject);
        return *this;
    }

    T* Get() const { return m_pObject; }
    T* operator->() const { return m_pObject; }
    T& operator*() const { return *m_pObject; }
    explicit operator bool() const { return m_pObject != nullptr; }

    void Reset()
    {
        if (T* const object = std::exchange(m_pObject, nullptr)) object->Release();
    }

    /// Runs `call(void** object)`, which hands a reference out in that way, and holds that one, or none, in
    /// place of what was held; the call's result.
    template <class Call>
    HRESULT Receive(Call call)
    {
        void* received = nullptr;
        const HRESULT result = call(&received);
        Reset();
        m_pObject = static_cast<T*>(received);
        return result;
    }
    /// Receives the interface T of `object`.
    HRESULT Query(IUnknown& object)
    {
        return Receive([&object](void** received) { return object.QueryInterface(T::IID, received); });
    }
    /// Receives the interface T of a new object of `factory`.
    HRESULT Create(IClassFactory& factory)
    {
        return Receive(
            [&factory](void** received) { return factory.CreateInstance(nullptr, T::IID, received); });
    }

  private:
    T* m_pObject = nullptr;
};
