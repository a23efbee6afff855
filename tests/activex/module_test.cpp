// The built module from outside, as a host uses it: loaded, asked for its class, driven by its interfaces.

#include <dlfcn.h>
#include <gmock/gmock.h>

#include <QTest>
#include <QWidget>
#include <cstdio>
#include <memory>

#include "inc/host/ControlWindow.h"
#include "tests/activex/home_support.h"

using testing::ElementsAre;
using testing::UnorderedElementsAre;

namespace
{

class CSink final : public IEventSink
{
  public:
    void OnEvent(std::int32_t dispid) override { m_Events.push_back(dispid); }
    std::vector<std::int32_t> m_Events;
};

// Hears the control's events while it lives.
class CAdvised
{
  public:
    CAdvised(IDispatch& control, IEventSink& sink)
    {
        m_pEvents.Query(control);
        EXPECT_TRUE(m_pEvents && m_pEvents->Advise(&sink) == S_OK);
    }
    ~CAdvised()
    {
        if (m_pEvents) m_pEvents->Unadvise();
    }
    CAdvised(const CAdvised&) = delete;
    CAdvised& operator=(const CAdvised&) = delete;

  private:
    CComPtr<IEventSource> m_pEvents;
};

class ModuleTest : public testing::Test
{
  protected:
    ModuleTest() : m_pModule(dlopen(WATCHWALL_MODULE, RTLD_NOW | RTLD_LOCAL))
    {
        if (m_pModule == nullptr) ADD_FAILURE() << dlerror();
    }
    template <typename Call>
    Call Find(const char* name)
    {
        return reinterpret_cast<Call>(dlsym(m_pModule, name));
    }
    HRESULT GetFactory(CComPtr<IClassFactory>& factory)
    {
        const auto get = Find<DLLGETCLASSOBJECT>("DllGetClassObject");
        return factory.Receive([get](void** made) { return get(CLSID_ActiveXCtrl, IClassFactory::IID, made); });
    }
    template <typename Interface>
    CComPtr<Interface> CreateControl()
    {
        CComPtr<IClassFactory> factory;
        CComPtr<Interface> control;
        EXPECT_EQ(GetFactory(factory), S_OK);
        if (factory) {
            EXPECT_EQ(control.Create(*factory), S_OK);
        }
        return control;
    }
    static std::string Get(IDispatch& control, std::int32_t dispid)
    {
        std::string text = "unset";
        EXPECT_EQ(control.Invoke(dispid, EDispatch::PropertyGet, {}, &text), S_OK);
        return text;
    }
    static void Put(IDispatch& control, std::int32_t dispid, const std::string& text)
    {
        EXPECT_EQ(control.Invoke(dispid, EDispatch::PropertyPut, {text}, nullptr), S_OK);
    }
    static void Load(IDispatch& control)
    {
        EXPECT_EQ(control.Invoke(DISPID_LoadParameter, EDispatch::Method, {}, nullptr), S_OK);
    }

    CTestHome m_Home;
    void* m_pModule;  // stays loaded: the toolkit keeps addresses in it
};

TEST_F(ModuleTest, ExportsItsFourEntriesAndNothingElse)
{
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> nm(popen("nm -D --defined-only " WATCHWALL_MODULE, "r"),
                                                       pclose);
    ASSERT_NE(nm, nullptr);
    std::vector<std::string> names;
    char line[512];
    while (std::fgets(line, sizeof line, nm.get()) != nullptr) {
        const std::string text(line);
        names.push_back(text.substr(text.rfind(' ') + 1, text.size() - text.rfind(' ') - 2));
    }
    EXPECT_THAT(names, UnorderedElementsAre("DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer",
                                            "DllUnregisterServer"));
}

TEST_F(ModuleTest, LoadParameterHandsTheTextThroughAndFires)
{
    const auto control = CreateControl<IDispatch>();
    CSink sink;
    const CAdvised advised(*control, sink);
    Put(*control, DISPID_InputParameter, "abc");
    Load(*control);
    EXPECT_EQ(Get(*control, DISPID_OutputParameter), "abc");
    EXPECT_THAT(sink.m_Events, ElementsAre(DISPID_ParameterLoaded));
}

// By these numbers a host calls the members and hears the event.
TEST_F(ModuleTest, MembersAndEventHaveTheirNumbers)
{
    const auto control = CreateControl<IDispatch>();
    CSink sink;
    const CAdvised advised(*control, sink);
    Put(*control, 1, "abc");
    EXPECT_EQ(control->Invoke(3, EDispatch::Method, {}, nullptr), S_OK);
    EXPECT_EQ(Get(*control, 2), "abc");
    EXPECT_THAT(sink.m_Events, ElementsAre(1));
}

TEST_F(ModuleTest, SettingTheInputAloneChangesNoOutputAndFiresNothing)
{
    const auto control = CreateControl<IDispatch>();
    CSink sink;
    const CAdvised advised(*control, sink);
    Put(*control, DISPID_OutputParameter, "before");
    Put(*control, DISPID_InputParameter, "abc");
    EXPECT_EQ(Get(*control, DISPID_OutputParameter), "before");
    EXPECT_TRUE(sink.m_Events.empty());
}

// The event comes when the copy is made: a host reads the new text in it.
TEST_F(ModuleTest, TheHostReadsTheCopyWithinTheEvent)
{
    struct CReader final : IEventSink {
        void OnEvent(std::int32_t) override { read = Get(*control, DISPID_OutputParameter); }
        IDispatch* control = nullptr;
        std::string read;
    } reader;
    const auto control = CreateControl<IDispatch>();
    reader.control = control.Get();
    const CAdvised advised(*control, reader);
    Put(*control, DISPID_InputParameter, "abc");
    Load(*control);
    EXPECT_EQ(reader.read, "abc");
}

TEST_F(ModuleTest, LoadParameterWithoutAnInputFiresAndLeavesTheOutputEmpty)
{
    const auto control = CreateControl<IDispatch>();
    CSink sink;
    const CAdvised advised(*control, sink);
    Load(*control);
    EXPECT_EQ(Get(*control, DISPID_OutputParameter), "");
    EXPECT_EQ(sink.m_Events.size(), 1U);
}

TEST_F(ModuleTest, OutputOfTheHostIsOverwritten)
{
    const auto control = CreateControl<IDispatch>();
    Put(*control, DISPID_InputParameter, "in");
    Put(*control, DISPID_OutputParameter, "the host's");
    EXPECT_EQ(Get(*control, DISPID_OutputParameter), "the host's");
    Load(*control);
    EXPECT_EQ(Get(*control, DISPID_OutputParameter), "in");
}

TEST_F(ModuleTest, LoadParameterTwiceFiresTwice)
{
    const auto control = CreateControl<IDispatch>();
    CSink sink;
    const CAdvised advised(*control, sink);
    Put(*control, DISPID_InputParameter, "abc");
    Load(*control);
    Load(*control);
    EXPECT_EQ(sink.m_Events.size(), 2U);
    EXPECT_EQ(Get(*control, DISPID_InputParameter), "abc");
    EXPECT_EQ(Get(*control, DISPID_OutputParameter), "abc");
}

TEST_F(ModuleTest, WrongMembersAndArgumentsAreRefused)
{
    const auto control = CreateControl<IDispatch>();
    EXPECT_EQ(control->Invoke(4, EDispatch::Method, {}, nullptr), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(control->Invoke(0, EDispatch::PropertyGet, {}, nullptr), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(control->Invoke(DISPID_LoadParameter, EDispatch::PropertyGet, {}, nullptr),
              DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(control->Invoke(DISPID_InputParameter, EDispatch::Method, {}, nullptr), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(control->Invoke(DISPID_LoadParameter, EDispatch::Method, {"x"}, nullptr), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(control->Invoke(DISPID_InputParameter, EDispatch::PropertyPut, {}, nullptr),
              DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(control->Invoke(DISPID_InputParameter, EDispatch::PropertyGet, {"x"}, nullptr),
              DISP_E_BADPARAMCOUNT);
}

TEST_F(ModuleTest, FactoryKnowsItsClassOnly)
{
    const auto get = Find<DLLGETCLASSOBJECT>("DllGetClassObject");
    void* object = this;
    EXPECT_EQ(get(LIBID_ActiveXLib, IClassFactory::IID, &object), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(get(CLSID_ActiveXCtrl, IDispatch::IID, &object), E_NOINTERFACE);
    EXPECT_EQ(get(CLSID_ActiveXCtrl, IClassFactory::IID, nullptr), E_POINTER);
}

TEST_F(ModuleTest, RegistrationIsFoundByTheProgrammaticNameAndTakenBack)
{
    EXPECT_EQ(Find<DLLREGISTERSERVER>("DllRegisterServer")(), S_OK);
    QFile file(m_Home.File("registry.ini"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    file.close();
    EXPECT_TRUE(text.contains("ActiveX.ActiveXCtrl.1"));
    EXPECT_TRUE(text.contains("Controls safely initializable from persistent data!"));
    EXPECT_TRUE(text.contains("Controls safely scriptable!"));
    EXPECT_TRUE(text.contains("TypeName=1\n"));
    EXPECT_TRUE(text.contains("ToolboxBitmap32=203\n"));
    EXPECT_TRUE(text.contains("Control=ActiveX Control\n"));
    EXPECT_TRUE(text.contains("Name=_DActiveX\nDescription=Dispatch interface for ActiveX Control\n"));
    EXPECT_TRUE(text.contains("Name=_DActiveXEvents\nDescription=Event interface for ActiveX Control\n"));
    EXPECT_EQ(Find<DLLUNREGISTERSERVER>("DllUnregisterServer")(), S_OK);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray left = file.readAll();
    EXPECT_FALSE(left.contains("ActiveX.ActiveXCtrl.1"));
    EXPECT_FALSE(left.contains("_DActiveX"));
}

// The rest runs in processes of its own: the module starts once in a process, and what its windows leave behind
// stays.
using ModuleProcessTest = ModuleTest;

TEST_F(ModuleProcessTest, MissingSkinKeepsTheControlFromBeingCreated)
{
    EXPECT_EXIT(
        {
            QFile::remove(m_Home.File("config/skin.smf"));
            CComPtr<IClassFactory> factory;
            const bool refused = GetFactory(factory) == E_FAIL && !factory &&
                                 Find<DLLREGISTERSERVER>("DllRegisterServer")() == E_FAIL;
            std::_Exit(refused ? 7 : 1);
        },
        testing::ExitedWithCode(7), "");
}

TEST_F(ModuleProcessTest, UnloadingIsRefusedWhileAnythingIsLeft)
{
    EXPECT_EXIT(
        {
            const auto canUnload = Find<DLLCANUNLOADNOW>("DllCanUnloadNow");
            bool right = canUnload() == S_OK;
            CComPtr<IClassFactory> factory;
            GetFactory(factory);
            right = right && canUnload() == S_FALSE;
            CComPtr<IDispatch> control;
            control.Create(*factory);
            factory->LockServer(true);
            factory.Reset();
            right = right && canUnload() == S_FALSE;
            control.Reset();
            right = right && canUnload() == S_FALSE;
            GetFactory(factory);
            factory->LockServer(false);
            factory.Reset();
            right = right && canUnload() == S_OK;
            std::_Exit(right ? 7 : 1);
        },
        testing::ExitedWithCode(7), "");
}

// The address sanitizer's build of the tests never unloads a library.
#ifdef __SANITIZE_ADDRESS__
constexpr bool KEEPS_LIBRARIES = true;
#else
constexpr bool KEEPS_LIBRARIES = false;
#endif

// Whether the module lies in this process's memory.
bool IsMapped()
{
    void* const module = dlopen(WATCHWALL_MODULE, RTLD_NOW | RTLD_NOLOAD);
    if (module != nullptr) dlclose(module);
    return module != nullptr;
}

TEST_F(ModuleProcessTest, ModuleThatShowedNoWindowIsUnloaded)
{
    EXPECT_EXIT(
        {
            {
                const auto control = CreateControl<IDispatch>();
            }
            bool right = Find<DLLCANUNLOADNOW>("DllCanUnloadNow")() == S_OK && IsMapped();
            dlclose(m_pModule);
            right = right && IsMapped() == KEEPS_LIBRARIES;
            std::_Exit(right ? 7 : 1);
        },
        testing::ExitedWithCode(7), "");
}

TEST_F(ModuleProcessTest, UnloadingIsAllowedOnceTheWindowIsGoneAndHarmless)
{
    EXPECT_EXIT(
        {
            const auto canUnload = Find<DLLCANUNLOADNOW>("DllCanUnloadNow");
            bool right = true;
            for (int round = 0; round < 2; ++round) {
                QWidget container;
                auto control = CreateControl<IControlWindow>();
                right = right && control->CreateControlWindow(&container) == S_OK;
                container.show();
                QApplication::processEvents();
                control->DestroyControlWindow();
                right = right && canUnload() == S_FALSE;  // the control itself
                control.Reset();
                right = right && canUnload() == S_OK;
                dlclose(m_pModule);
                right = right && IsMapped();  // what the toolkit kept stays valid
                QCoreApplication::removePostedEvents(qApp, QEvent::Quit);
                QWidget other;
                other.show();
                QTest::keyClick(&other, Qt::Key_A);
                m_pModule = dlopen(WATCHWALL_MODULE, RTLD_NOW | RTLD_LOCAL);
            }
            std::_Exit(right ? 7 : 1);
        },
        testing::ExitedWithCode(7), "");
}

TEST_F(ModuleTest, WindowHoldsTheMainPanelAndGoesWithTheContainer)
{
    auto container = std::make_unique<QWidget>();
    container->resize(820, 640);
    const auto control = CreateControl<IControlWindow>();
    EXPECT_EQ(control->SetBounds(0, 0, 10, 10), E_FAIL) << "no window yet";
    EXPECT_EQ(control->CreateControlWindow(nullptr), E_INVALIDARG);
    ASSERT_EQ(control->CreateControlWindow(container.get()), S_OK);
    EXPECT_EQ(control->CreateControlWindow(container.get()), S_FALSE);
    container->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(container.get()));
    EXPECT_EQ(control->SetBounds(0, 0, 820, 640), S_OK);
    auto* const window = static_cast<QWidget*>(control->GetControlWindow());
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->size(), QSize(820, 640));
    ASSERT_FALSE(window->findChildren<QWidget*>().isEmpty()) << "the panel";
    EXPECT_EQ(Find<DLLCANUNLOADNOW>("DllCanUnloadNow")(), S_FALSE);
    container.reset();
    EXPECT_EQ(control->GetControlWindow(), nullptr);
    EXPECT_EQ(control->DestroyControlWindow(), S_FALSE);
    QCoreApplication::removePostedEvents(qApp, QEvent::Quit);
}

}  // namespace
