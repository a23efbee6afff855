#include "activex/Registration.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "activex/ActiveXCtrl.h"
#include "platform/component/component_registry.h"

namespace
{

// Writes the calls down and fails the n-th.
class CScriptedRegistry : public IComponentRegistry
{
  public:
    explicit CScriptedRegistry(int failing, HRESULT code)
        : m_iFailing(failing), m_Code(code), m_pFormer(SetComponentRegistry(this))
    {
    }
    ~CScriptedRegistry() override { SetComponentRegistry(m_pFormer); }
    HRESULT RegisterCategories(std::uint32_t count, const Category* categories) override
    {
        EXPECT_EQ(count, 1U);
        const bool right = categories->description == "Controls safely scriptable!"
                               ? categories->id == CATID_SafeForScripting
                               : categories->id == CATID_SafeForInitializing;
        EXPECT_TRUE(right) << UuidText(categories->id);
        return Call("category " + categories->description);
    }
    HRESULT RegisterClassImplCategories(const UUID& id, std::uint32_t count, const UUID* categories) override
    {
        EXPECT_EQ(id, CLSID_ActiveXCtrl);
        EXPECT_EQ(count, 1U);
        return Call("in category " + NameOf(*categories));
    }
    HRESULT UnRegisterClassImplCategories(const UUID& id, std::uint32_t count, const UUID* categories) override
    {
        EXPECT_EQ(id, CLSID_ActiveXCtrl);
        EXPECT_EQ(count, 1U);
        return Call("out of category " + NameOf(*categories));
    }
    HRESULT RegisterTypeLibrary(const TypeLibrary& library) override
    {
        EXPECT_EQ(library.version, "1.0");
        EXPECT_EQ(library.helpFile, "ActiveX.hlp");
        EXPECT_EQ(library.controlName, "ActiveX Control");
        EXPECT_EQ(library.interfaces.size(), 2U);
        return Call("library " + library.name);
    }
    HRESULT UnregisterTypeLibrary(const UUID&) override { return Call("no library"); }
    HRESULT RegisterClass(const ClassRegistration& entry) override
    {
        EXPECT_EQ(entry.miscStatus, 0x20191U);
        EXPECT_EQ(entry.threading, 2U);
        EXPECT_EQ(entry.typeLibrary, LIBID_ActiveXLib);
        EXPECT_EQ(entry.typeName, 1U);
        EXPECT_EQ(entry.bitmap, 203U);
        return Call("class " + entry.programmaticName);
    }
    HRESULT UnregisterClass(const UUID&) override { return Call("no class"); }
    bool FindClass(const std::string&, ClassRegistration&) override { return false; }

    std::vector<std::string> m_Calls;

  private:
    static std::string NameOf(const UUID& category)
    {
        if (category == CATID_SafeForInitializing) return "initializing";
        return category == CATID_SafeForScripting ? "scripting" : UuidText(category);
    }
    HRESULT Call(const std::string& what)
    {
        m_Calls.push_back(what);
        return static_cast<int>(m_Calls.size()) == m_iFailing ? m_Code : S_OK;
    }
    const int m_iFailing;
    const HRESULT m_Code;
    IComponentRegistry* const m_pFormer;
};

const std::vector<std::string> REGISTERING = {"library ActiveXLib",
                                              "class ActiveX.ActiveXCtrl.1",
                                              "category Controls safely initializable from persistent data!",
                                              "in category initializing",
                                              "category Controls safely scriptable!",
                                              "in category scripting"};

TEST(RegistrationTest, StopsAtTheFirstFailureWithItsCode)
{
    const HRESULT codes[] = {S_OK, SELFREG_E_TYPELIB, SELFREG_E_CLASS, E_FAIL, E_FAIL, E_FAIL, E_FAIL};
    for (int failing = 0; failing <= 6; ++failing) {
        CScriptedRegistry registry(failing, E_FAIL);
        EXPECT_EQ(RegisterServer(), codes[failing]) << failing;
        const std::size_t done = failing == 0 ? REGISTERING.size() : static_cast<std::size_t>(failing);
        EXPECT_EQ(registry.m_Calls,
                  std::vector<std::string>(REGISTERING.begin(),
                                           REGISTERING.begin() + static_cast<std::ptrdiff_t>(done)));
    }
}

TEST(RegistrationTest, UnregisteringRunsInTheSameOrder)
{
    const HRESULT codes[] = {S_OK, SELFREG_E_TYPELIB, SELFREG_E_CLASS, E_FAIL, E_FAIL};
    const std::vector<std::string> calls = {"no library", "no class", "out of category initializing",
                                            "out of category scripting"};
    for (int failing = 0; failing <= 4; ++failing) {
        CScriptedRegistry registry(failing, E_FAIL);
        EXPECT_EQ(UnregisterServer(), codes[failing]) << failing;
        const std::size_t done = failing == 0 ? calls.size() : static_cast<std::size_t>(failing);
        EXPECT_EQ(registry.m_Calls,
                  std::vector<std::string>(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(done)));
    }
}

}  // namespace
