#include "platform/component/counted_objects.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

constexpr UUID OTHER_IID = MakeUuid("fc2f1fbe-3f9d-43bb-b0bb-5ddd14cded62");

struct UuidCase {
    const char* name;
    const char* text;
    bool valid;
};

class UuidForms : public testing::TestWithParam<UuidCase>
{
};

TEST_P(UuidForms, AreReadOrRefused)
{
    UUID id = OTHER_IID;
    EXPECT_EQ(ParseUuid(GetParam().text, id), GetParam().valid);
    EXPECT_EQ(UuidText(id), GetParam().valid ? "{1E9E3ABA-C093-40FC-AB67-A3ED42A0B28B}"
                                             : "{FC2F1FBE-3F9D-43BB-B0BB-5DDD14CDED62}");
}

INSTANTIATE_TEST_SUITE_P(
    Uuid, UuidForms,
    testing::Values(UuidCase{"lower", "1e9e3aba-c093-40fc-ab67-a3ed42a0b28b", true},
                    UuidCase{"upper", "1E9E3ABA-C093-40FC-AB67-A3ED42A0B28B", true},
                    UuidCase{"braces", "{1e9e3aba-c093-40fc-AB67-a3ed42a0b28b}", true},
                    UuidCase{"empty", "", false},  //
                    UuidCase{"one_brace", "{1e9e3aba-c093-40fc-ab67-a3ed42a0b28b", false},
                    UuidCase{"wrong_braces", "(1e9e3aba-c093-40fc-ab67-a3ed42a0b28b)", false},
                    UuidCase{"no_dash", "1e9e3aba0c093-40fc-ab67-a3ed42a0b28b", false},
                    UuidCase{"not_hexadecimal", "1e9e3aba-c093-40fc-ab67-a3ed42a0b28g", false},
                    UuidCase{"short", "1e9e3aba-c093-40fc-ab67-a3ed42a0b28", false},
                    UuidCase{"long", "1e9e3aba-c093-40fc-ab67-a3ed42a0b28bb", false}),
    [](const auto& row) { return std::string(row.param.name); });

// An object with one property, whose change fires an event.
class CCounter final : public CUnknown<IDispatch, IEventSource>
{
  public:
    HRESULT Invoke(std::int32_t dispid, EDispatch kind, const std::vector<std::string>& arguments,
                   std::string* result) override
    {
        if (dispid != 1) return DISP_E_MEMBERNOTFOUND;
        if (kind == EDispatch::PropertyGet) {
            if (result != nullptr) *result = m_strValue;
            return S_OK;
        }
        if (arguments.size() != 1) return DISP_E_BADPARAMCOUNT;
        m_strValue = arguments[0];
        m_Events.Fire(1);
        return S_OK;
    }
    HRESULT Advise(IEventSink* sink) override { return m_Events.Advise(sink); }
    HRESULT Unadvise() override { return m_Events.Unadvise(); }
    UUID GetEventInterface() override { return OTHER_IID; }

  private:
    ~CCounter() override = default;
    std::string m_strValue;
    CEventPoint m_Events;
};

struct CSink final : IEventSink {
    void OnEvent(std::int32_t dispid) override
    {
        events.push_back(dispid);
        if (leave != nullptr) leave->Unadvise();
    }
    std::vector<std::int32_t> events;
    IEventSource* leave = nullptr;
};

CComPtr<IClassFactory> MakeFactory()
{
    auto* const factory =
        new CClassFactory([]() -> IUnknown* { return static_cast<IDispatch*>(new CCounter); });
    CComPtr<IClassFactory> pointer(factory);
    factory->Release();
    return pointer;
}

TEST(Component, ObjectsAndLocksKeepTheModuleLoaded)
{
    EXPECT_TRUE(CanUnloadComponentModule());
    auto factory = MakeFactory();
    EXPECT_FALSE(CanUnloadComponentModule());
    EXPECT_EQ(factory->LockServer(true), S_OK);
    factory.Reset();
    EXPECT_FALSE(CanUnloadComponentModule());
    EXPECT_EQ(MakeFactory()->LockServer(false), S_OK);
    EXPECT_TRUE(CanUnloadComponentModule());
}

TEST(Component, QueryInterfaceFindsEachInterfaceOfTheObjectAndCounts)
{
    CComPtr<IUnknown> object;
    ASSERT_EQ(object.Create(*MakeFactory()), S_OK);
    CComPtr<IDispatch> dispatch;
    CComPtr<IEventSource> source;
    EXPECT_EQ(dispatch.Query(*object), S_OK);
    EXPECT_EQ(source.Query(*object), S_OK);
    EXPECT_EQ(dispatch->AddRef(), 4U);
    EXPECT_EQ(source->Release(), 3U) << "one count for all interfaces";
    CComPtr<IUnknown> again;
    EXPECT_EQ(again.Query(*source), S_OK);
    EXPECT_EQ(again.Get(), object.Get()) << "an object has one identity";
}

TEST(Component, AnUnknownInterfaceGivesNull)
{
    CComPtr<IUnknown> object;
    ASSERT_EQ(object.Create(*MakeFactory()), S_OK);
    void* other = &object;
    EXPECT_EQ(object->QueryInterface(OTHER_IID, &other), E_NOINTERFACE);
    EXPECT_EQ(other, nullptr);
    EXPECT_EQ(object->QueryInterface(IUnknown::IID, nullptr), E_POINTER);
}

TEST(Component, TheFactoryRefusesWhatItCantMake)
{
    auto factory = MakeFactory();
    void* object = &factory;
    EXPECT_EQ(factory->CreateInstance(factory.Get(), IUnknown::IID, &object), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(factory->CreateInstance(nullptr, IUnknown::IID, nullptr), E_POINTER);
    object = &factory;
    EXPECT_EQ(factory->CreateInstance(nullptr, OTHER_IID, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    factory.Reset();
    EXPECT_TRUE(CanUnloadComponentModule()) << "an object without the interface asked for is gone";

    CClassFactory* const empty = new CClassFactory([]() -> IUnknown* { return nullptr; });
    EXPECT_EQ(empty->CreateInstance(nullptr, IUnknown::IID, &object), E_FAIL);
    EXPECT_EQ(empty->Release(), 0U);
}

TEST(Component, MembersAreInvokedByTheirNumbers)
{
    CComPtr<IDispatch> object;
    ASSERT_EQ(object.Create(*MakeFactory()), S_OK);
    std::string value = "before";
    EXPECT_EQ(object->Invoke(1, EDispatch::PropertyPut, {"abc"}, nullptr), S_OK);
    EXPECT_EQ(object->Invoke(1, EDispatch::PropertyPut, {}, nullptr), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(object->Invoke(9, EDispatch::Method, {}, nullptr), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(object->Invoke(1, EDispatch::PropertyGet, {}, &value), S_OK);
    EXPECT_EQ(value, "abc");
}

TEST(Component, AnObjectHasOneEventSink)
{
    CComPtr<IDispatch> object;
    ASSERT_EQ(object.Create(*MakeFactory()), S_OK);
    CComPtr<IEventSource> source;
    ASSERT_EQ(source.Query(*object), S_OK);
    CSink sink;
    CSink second;
    EXPECT_EQ(source->Unadvise(), CONNECT_E_NOCONNECTION);
    EXPECT_EQ(source->Advise(nullptr), E_POINTER);
    EXPECT_EQ(source->Advise(&sink), S_OK);
    EXPECT_EQ(source->Advise(&second), CONNECT_E_ADVISELIMIT);
    object->Invoke(1, EDispatch::PropertyPut, {"a"}, nullptr);
    sink.leave = source.Get();
    object->Invoke(1, EDispatch::PropertyPut, {"b"}, nullptr);
    object->Invoke(1, EDispatch::PropertyPut, {"c"}, nullptr);
    EXPECT_EQ(sink.events, (std::vector<std::int32_t>{1, 1})) << "a sink may leave while it is told";
    EXPECT_TRUE(second.events.empty());
}

TEST(Component, APointerHoldsOneReference)
{
    CComPtr<IDispatch> object;
    ASSERT_EQ(object.Create(*MakeFactory()), S_OK);
    CComPtr<IDispatch> copy = object;
    EXPECT_EQ(copy->AddRef(), 3U);
    EXPECT_EQ(copy->Release(), 2U);
    const CComPtr<IDispatch> moved = std::move(copy);
    EXPECT_FALSE(copy);  // NOLINT(bugprone-use-after-move): a moved pointer is empty
    object = moved;
    EXPECT_EQ(moved->AddRef(), 3U);
    EXPECT_EQ(moved->Release(), 2U);
}

TEST(Component, FailureIsNegative)
{
    EXPECT_TRUE(FAILED(SELFREG_E_TYPELIB));
    EXPECT_EQ(static_cast<std::uint32_t>(SELFREG_E_TYPELIB), 0x80040200U);
    EXPECT_EQ(static_cast<std::uint32_t>(SELFREG_E_CLASS), 0x80040201U);
    EXPECT_TRUE(SUCCEEDED(S_FALSE));
}

}  // namespace
