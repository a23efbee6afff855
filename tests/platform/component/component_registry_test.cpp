#include "platform/component/component_registry.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "platform/files/IniText.h"
#include "platform/os/paths.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_variable.h"

namespace
{

constexpr UUID CLASS_ID = MakeUuid("fc2f1fbe-3f9d-43bb-b0bb-5ddd14cded62");
constexpr UUID OTHER_CLASS = MakeUuid("40439bd9-1d6b-4bc4-956a-b8af422c5737");
constexpr UUID LIBRARY_ID = MakeUuid("6f1c2f5e-5b1d-4a7c-9d43-0b1f0a6f2d11");
constexpr UUID INTERFACE_ID = MakeUuid("52f7fbe0-0f0d-4f4b-8a39-0a1b5d0b7c11");

TypeLibrary Library()
{
    return {LIBRARY_ID,
            "ActiveXLib",
            "1.0",
            "ActiveX.hlp",
            "c:\\opt\\my wall\\activex.ocx",
            "ActiveX Control",
            {{INTERFACE_ID, "_DActiveX", "Dispatch interface for ActiveX Control", {}}}};
}

ClassRegistration Class()
{
    return {CLASS_ID, "ActiveX.ActiveXCtrl.1", "c:\\opt\\my wall\\activex.ocx", 0x20191, 2, LIBRARY_ID, 1, 203};
}

class ComponentRegistryTest : public testing::Test
{
  protected:
    // What the registry's file says; "(none)" for a missing key.
    std::string Entry(const std::string& section, const std::string& key) const
    {
        std::string value;
        return Ini().Find(section, key, value) ? value : "(none)";
    }
    bool Has(const std::string& section) const { return Ini().HasSection(section); }

    CTestFolder m_Folder;
    CTestVariable m_Variable{"WATCHWALL_REGISTRY", m_Folder.Path("sub/registry.ini").c_str()};
    IComponentRegistry& m_Registry = ComponentRegistry();

  private:
    CIniText Ini() const { return CIniText(m_Folder.Read("sub/registry.ini").value_or("")); }
};

TEST_F(ComponentRegistryTest, TypeLibrariesComeAndGo)
{
    const std::string section = "TypeLib\\" + UuidText(LIBRARY_ID);
    ASSERT_EQ(m_Registry.RegisterTypeLibrary(Library()), S_OK);
    EXPECT_EQ(Entry(section, "Name"), "ActiveXLib");
    EXPECT_EQ(Entry(section, "Version"), "1.0");
    EXPECT_EQ(Entry(section, "HelpFile"), "ActiveX.hlp");
    EXPECT_EQ(Entry(section, "Path"), "c:\\opt\\my wall\\activex.ocx");
    EXPECT_EQ(Entry(section, "Control"), "ActiveX Control");
    EXPECT_EQ(m_Registry.UnregisterTypeLibrary(LIBRARY_ID), S_OK);
    EXPECT_FALSE(Has(section));
    EXPECT_EQ(m_Registry.UnregisterTypeLibrary(LIBRARY_ID), S_OK) << "what isn't there is gone already";
}

TEST_F(ComponentRegistryTest, InterfacesComeAndGoWithTheirTypeLibrary)
{
    const std::string section = "Interface\\" + UuidText(INTERFACE_ID);
    ASSERT_EQ(m_Registry.RegisterTypeLibrary(Library()), S_OK);
    EXPECT_EQ(Entry(section, "Name"), "_DActiveX");
    EXPECT_EQ(Entry(section, "Description"), "Dispatch interface for ActiveX Control");
    EXPECT_EQ(Entry(section, "TypeLib"), UuidText(LIBRARY_ID));
    EXPECT_EQ(m_Registry.UnregisterTypeLibrary(OTHER_CLASS), S_OK);
    EXPECT_TRUE(Has(section)) << "another library's removal";
    EXPECT_EQ(m_Registry.UnregisterTypeLibrary(LIBRARY_ID), S_OK);
    EXPECT_FALSE(Has(section));
}

TEST_F(ComponentRegistryTest, ALibraryRegisteredAnewHasItsNewInterfacesOnly)
{
    TypeLibrary later = Library();
    later.interfaces[0].id = OTHER_CLASS;
    ASSERT_EQ(m_Registry.RegisterTypeLibrary(Library()), S_OK);
    ASSERT_EQ(m_Registry.RegisterTypeLibrary(later), S_OK);
    EXPECT_FALSE(Has("Interface\\" + UuidText(INTERFACE_ID)));
    EXPECT_TRUE(Has("Interface\\" + UuidText(OTHER_CLASS)));
}

TEST_F(ComponentRegistryTest, ClassIsFoundByItsNameInEitherCase)
{
    ClassRegistration found;
    EXPECT_FALSE(m_Registry.FindClass("ActiveX.ActiveXCtrl.1", found));
    ASSERT_EQ(m_Registry.RegisterClass(Class()), S_OK);
    for (const char* name : {"ActiveX.ActiveXCtrl.1", "activex.activexctrl.1"}) {
        found = {};
        ASSERT_TRUE(m_Registry.FindClass(name, found)) << name;
        EXPECT_EQ(found.id, CLASS_ID);
        EXPECT_EQ(found.programmaticName, "ActiveX.ActiveXCtrl.1");
        EXPECT_EQ(found.module, "c:\\opt\\my wall\\activex.ocx");
        EXPECT_EQ(found.miscStatus, 0x20191U);
        EXPECT_EQ(found.threading, 2U);
        EXPECT_EQ(found.typeLibrary, LIBRARY_ID);
        EXPECT_EQ(found.typeName, 1U);
        EXPECT_EQ(found.bitmap, 203U);
    }
    EXPECT_EQ(m_Registry.UnregisterClass(CLASS_ID), S_OK);
    EXPECT_FALSE(m_Registry.FindClass("ActiveX.ActiveXCtrl.1", found));
    EXPECT_FALSE(Has("CLSID\\" + UuidText(CLASS_ID)));
    EXPECT_EQ(m_Registry.UnregisterClass(CLASS_ID), S_OK);
}

TEST_F(ComponentRegistryTest, AClassRegisteredAnewTakesItsNewName)
{
    ClassRegistration found;
    ClassRegistration renamed = Class();
    renamed.programmaticName = "ActiveX.ActiveXCtrl.2";
    ASSERT_EQ(m_Registry.RegisterClass(Class()), S_OK);
    ASSERT_EQ(m_Registry.RegisterClass(renamed), S_OK);
    EXPECT_FALSE(m_Registry.FindClass("ActiveX.ActiveXCtrl.1", found));
    EXPECT_TRUE(m_Registry.FindClass("ActiveX.ActiveXCtrl.2", found));
}

TEST_F(ComponentRegistryTest, ANameThatAnotherClassTookStaysWithIt)
{
    ClassRegistration found;
    ClassRegistration other = Class();
    other.id = OTHER_CLASS;
    ASSERT_EQ(m_Registry.RegisterClass(Class()), S_OK);
    ASSERT_EQ(m_Registry.RegisterClass(other), S_OK);
    ASSERT_EQ(m_Registry.UnregisterClass(CLASS_ID), S_OK);
    ASSERT_TRUE(m_Registry.FindClass("ActiveX.ActiveXCtrl.1", found));
    EXPECT_EQ(found.id, OTHER_CLASS);
}

TEST_F(ComponentRegistryTest, ClassesEnterAndLeaveCategories)
{
    const std::array categories{
        Category{CATID_SafeForInitializing, "Controls safely initializable from persistent data!"},
        Category{CATID_SafeForScripting, "Controls safely scriptable!"}};
    const std::string initializing = UuidText(CATID_SafeForInitializing);
    const std::string scripting = UuidText(CATID_SafeForScripting);
    EXPECT_EQ(m_Registry.RegisterCategories(2, categories.data()), S_OK);
    EXPECT_EQ(Entry("Component Categories\\" + initializing, "Description"), categories[0].description);
    EXPECT_EQ(Entry("Component Categories\\" + scripting, "Description"), categories[1].description);

    const std::string membership = "Implemented Categories\\" + UuidText(CLASS_ID);
    EXPECT_EQ(m_Registry.RegisterClassImplCategories(CLASS_ID, 1, &CATID_SafeForInitializing), S_OK);
    EXPECT_EQ(m_Registry.RegisterClassImplCategories(CLASS_ID, 1, &CATID_SafeForScripting), S_OK);
    EXPECT_EQ(Entry(membership, initializing), "1");
    EXPECT_EQ(Entry(membership, scripting), "1");
    EXPECT_FALSE(Has("Implemented Categories\\" + UuidText(OTHER_CLASS)));

    // A module that unregisters itself takes the class out first.
    EXPECT_EQ(m_Registry.UnregisterClass(CLASS_ID), S_OK);
    EXPECT_EQ(Entry(membership, scripting), "1");
    EXPECT_EQ(m_Registry.UnRegisterClassImplCategories(CLASS_ID, 1, &CATID_SafeForInitializing), S_OK);
    EXPECT_EQ(Entry(membership, initializing), "(none)");
    EXPECT_EQ(Entry(membership, scripting), "1");
    EXPECT_EQ(m_Registry.UnRegisterClassImplCategories(CLASS_ID, 1, &CATID_SafeForScripting), S_OK);
    EXPECT_EQ(m_Registry.UnRegisterClassImplCategories(CLASS_ID, 1, &CATID_SafeForScripting), S_OK);
    EXPECT_FALSE(Has(membership));
    EXPECT_EQ(Entry("Component Categories\\" + scripting, "Description"), categories[1].description)
        << "the category itself stays";
}

TEST_F(ComponentRegistryTest, ATextOfTwoLinesLeavesNothingBehind)
{
    TypeLibrary library = Library();
    library.path = "c:\\a\nb";
    EXPECT_EQ(m_Registry.RegisterTypeLibrary(library), E_INVALIDARG);
    const Category category{CATID_SafeForScripting, "two\r\nlines"};
    EXPECT_EQ(m_Registry.RegisterCategories(1, &category), E_INVALIDARG);
    EXPECT_FALSE(m_Folder.Read("sub/registry.ini"));
}

TEST_F(ComponentRegistryTest, ARegistryThatCantBeWrittenFailsEachStepWithItsOwnCode)
{
    m_Folder.Write("file", "");
    const CTestVariable variable("WATCHWALL_REGISTRY", m_Folder.Path("file/registry.ini").c_str());
    const Category category{CATID_SafeForScripting, "Controls safely scriptable!"};
    ClassRegistration found;
    EXPECT_EQ(m_Registry.RegisterTypeLibrary(Library()), TYPE_E_REGISTRYACCESS);
    EXPECT_EQ(m_Registry.UnregisterTypeLibrary(LIBRARY_ID), TYPE_E_REGISTRYACCESS);
    EXPECT_EQ(m_Registry.RegisterClass(Class()), REGDB_E_WRITEREGDB);
    EXPECT_EQ(m_Registry.UnregisterClass(CLASS_ID), REGDB_E_WRITEREGDB);
    EXPECT_EQ(m_Registry.RegisterCategories(1, &category), REGDB_E_WRITEREGDB);
    EXPECT_EQ(m_Registry.RegisterClassImplCategories(CLASS_ID, 1, &CATID_SafeForScripting), REGDB_E_WRITEREGDB);
    EXPECT_EQ(m_Registry.UnRegisterClassImplCategories(CLASS_ID, 1, &CATID_SafeForScripting),
              REGDB_E_WRITEREGDB);
    EXPECT_FALSE(m_Registry.FindClass("ActiveX.ActiveXCtrl.1", found));
}

TEST_F(ComponentRegistryTest, DamagedEntriesAreNotFound)
{
    ClassRegistration found;
    m_Folder.Write("sub/registry.ini",
                   "[ProgID]\nA=not an identifier\nB={FC2F1FBE-3F9D-43BB-B0BB-5DDD14CDED62}\n");
    EXPECT_FALSE(m_Registry.FindClass("A", found));
    EXPECT_FALSE(m_Registry.FindClass("B", found)) << "a name whose class is gone";
    EXPECT_FALSE(m_Registry.FindClass("", found));
}

TEST(ComponentRegistryPath, IsBelowTheDataHomeOrWhereTheVariableSays)
{
    const CTestFolder folder;
    const CTestVariable data("XDG_DATA_HOME", folder.Path().c_str());
    {
        const CTestVariable variable("WATCHWALL_REGISTRY", nullptr);
        EXPECT_EQ(GetComponentRegistryPath(), folder.System("watchwall/registry.ini"));
    }
    const CTestVariable variable("WATCHWALL_REGISTRY", folder.Path("other.ini").c_str());
    EXPECT_EQ(GetComponentRegistryPath(), folder.System("other.ini"));
}

}  // namespace
