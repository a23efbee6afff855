#include <gtest/gtest.h>
#include <unistd.h>

#include <QAbstractButton>
#include <QApplication>
#include <QLineEdit>
#include <QMessageBox>
#include <QTest>
#include <QTimer>
#include <QWidget>
#include <memory>
#include <string>
#include <vector>

#include "activex/ActiveXCtrl.h"
#include "model/settings/SystemSettings.h"
#include "render/device/MemorySurfaceDevice.h"
#include "tests/activex/home_support.h"
#include "tests/support/model_state.h"
#include "tests/support/render_state.h"

namespace
{

// The container's window and the control in it, while a message box of the control stands.
struct Container {
    std::unique_ptr<QWidget> window;
    CComPtr<IControlWindow> control;
};

struct EndRow {
    const char* name;
    void (*end)(Container& container);
    bool letsGo;  // the control's last reference goes too
};

class MessageBoxEndTest : public testing::TestWithParam<EndRow>
{
  protected:
    ~MessageBoxEndTest() override { QCoreApplication::removePostedEvents(qApp, QEvent::Quit); }

    class CTold final : public CActiveXCtrl
    {
      public:
        explicit CTold(bool& gone) : m_bGone(gone) {}
        ~CTold() override { m_bGone = true; }

      private:
        bool& m_bGone;
    };

    Container Make()
    {
        Container container{std::make_unique<QWidget>(), {}};
        auto* const made = new CTold(m_bGone);
        container.control = CComPtr<IControlWindow>(made);
        made->Release();
        return container;
    }

    Container Embed()
    {
        Container container = Make();
        EXPECT_EQ(container.control->CreateControlWindow(container.window.get()), S_OK);
        container.window->show();
        return container;
    }

    // Ends the process.
    void StartWithoutGrid()
    {
        const auto adapter = std::make_shared<CMemorySurfaceAdapter>();
        adapter->SetFault(EDeviceStep::CreateDevice, true);
        const CRenderState render(adapter);
        Container container{std::make_unique<QWidget>(), {}};
        CComPtr<IControlWindow>& control = container.control;
        control.Receive([this](void** made) {
            *made = static_cast<IControlWindow*>(new CTold(m_bGone));
            return S_OK;
        });
        container.window->show();
        QTimer ending;
        QObject::connect(&ending, &QTimer::timeout, [&] {
            if (qobject_cast<QMessageBox*>(QApplication::activeModalWidget()) == nullptr) return;
            ending.stop();
            GetParam().end(container);
        });
        ending.start(5);
        control->CreateControlWindow(container.window.get());
    }

    const CTestHome m_Home;
    const CModelState m_Model;
    const CRenderState m_Render{std::make_shared<CMemorySurfaceAdapter>()};
    bool m_bGone = false;
};

TEST_P(MessageBoxEndTest, ContainerMayEndTheControlWhileItsBoxStands)
{
    ASSERT_TRUE(
        WriteSetting(ESetting::DirectoryPort, "1"));  // where nobody answers: the logon fails with a box
    Container container = Embed();
    QTimer ending;
    QObject::connect(&ending, &QTimer::timeout, [&] {
        if (qobject_cast<QMessageBox*>(QApplication::activeModalWidget()) == nullptr) return;
        ending.stop();
        GetParam().end(container);
        EXPECT_FALSE(m_bGone) << "the panel still is inside the box";
    });
    ending.start(5);
    auto* const accept = container.window->findChild<QAbstractButton*>("control1");
    ASSERT_NE(accept, nullptr);
    accept->click();  // returns behind the box
    EXPECT_FALSE(ending.isActive());
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
    EXPECT_EQ(m_bGone, GetParam().letsGo);
}

// The box says why there is no grid; the process ends as it would without the container's doing.
TEST_P(MessageBoxEndTest, ContainerMayEndTheControlWhileTheBoxOfItsStartStands)
{
    EXPECT_EXIT(StartWithoutGrid(), testing::ExitedWithCode(255), "the video grid can't be made");
}

// The sentence is lost then, and the code stays.
TEST_P(MessageBoxEndTest, ReaderOfStandardErrorMayBeGoneWhenThereIsNoGrid)
{
    const auto start = [this] {
        int ends[2] = {};
        EXPECT_EQ(::pipe(ends), 0);
        ::dup2(ends[1], STDERR_FILENO);
        ::close(ends[0]);
        ::close(ends[1]);
        StartWithoutGrid();
    };
    EXPECT_EXIT(start(), testing::ExitedWithCode(255), "");
}

enum class EHears { Container, Active, Inactive };  // it is asked for the container

// Ends the control, likewise, when it hears that of it.
class CEndingSite final : public CUnknown<IControlSite>
{
  public:
    CEndingSite(Container& container, void (*end)(Container& container), EHears at)
        : m_Container(container), m_pEnd(end), m_At(at)
    {
    }
    HRESULT GetContainer(IUnknown**) override
    {
        Hear(EHears::Container);
        return E_FAIL;
    }
    HRESULT OnInPlaceActive(bool active) override
    {
        Hear(active ? EHears::Active : EHears::Inactive);
        return S_OK;
    }
    int m_iEnds = 0;
    EHears m_Last{};

  private:
    void Hear(EHears what)
    {
        m_Last = what;
        if (what == m_At && m_iEnds++ == 0) m_pEnd(m_Container);
    }

    Container& m_Container;
    void (*const m_pEnd)(Container& container);
    const EHears m_At;
};

class EndingSiteTest : public MessageBoxEndTest
{
};

TEST_P(EndingSiteTest, ContainerMayEndTheControlWhenItHearsOfItsEnd)
{
    Container container = Embed();
    CEndingSite site(container, GetParam().end, EHears::Inactive);
    container.control->SetClientSite(&site);
    container.control->DestroyControlWindow();
    EXPECT_EQ(site.m_iEnds, 1);
    EXPECT_EQ(m_bGone, GetParam().letsGo);
}

TEST_P(EndingSiteTest, ContainerMayEndTheControlWhoseWindowItsOwnTakesAlong)
{
    Container container = Embed();
    CEndingSite site(container, GetParam().end, EHears::Inactive);
    container.control->SetClientSite(&site);
    container.window.reset();
    EXPECT_EQ(site.m_iEnds, 1);
    EXPECT_EQ(m_bGone, GetParam().letsGo);
}

TEST_P(EndingSiteTest, ContainerMayEndTheControlThatAsksForItOrIsActiveInItsStart)
{
    for (const EHears at : {EHears::Container, EHears::Active}) {
        Container container = Make();
        IControlWindow& control = *container.control;
        CEndingSite site(container, GetParam().end, at);
        control.SetClientSite(&site);
        m_bGone = false;
        EXPECT_EQ(control.CreateControlWindow(container.window.get()), E_FAIL);
        EXPECT_EQ(site.m_iEnds, 1);
        EXPECT_EQ(site.m_Last, EHears::Inactive) << "a control without a window is not active";
        EXPECT_EQ(m_bGone, GetParam().letsGo);
    }
}

// Asks the control for an interface when it hears that the control is no longer active.
class CAskingSite final : public CUnknown<IControlSite>
{
  public:
    explicit CAskingSite(IControlWindow& control) : m_Control(control) {}
    HRESULT GetContainer(IUnknown**) override { return E_FAIL; }
    HRESULT OnInPlaceActive(bool active) override
    {
        CComPtr<IControlReport> report;
        std::vector<ChannelReport> channels;
        if (!active && SUCCEEDED(report.Query(m_Control)) && SUCCEEDED(report->GetChannels(channels)))
            ++m_iReports;
        return S_OK;
    }
    int m_iReports = 0;

  private:
    IControlWindow& m_Control;
};

using AskingSiteTest = MessageBoxEndTest;

TEST_F(AskingSiteTest, ContainerMayAskTheControlThatItLetsGo)
{
    Container container = Embed();
    CAskingSite site(*container.control);
    container.control->SetClientSite(&site);
    container.control.Reset();  // with the window still standing
    EXPECT_EQ(site.m_iReports, 1);
    EXPECT_TRUE(m_bGone);
}

TEST_P(EndingSiteTest, ContainerMayEndTheControlThatAPressActivates)
{
    Container container = Embed();
    auto* const other = new QLineEdit(container.window.get());
    other->show();
    container.window->activateWindow();
    other->setFocus();
    auto& control = static_cast<CActiveXCtrl&>(*container.control);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !control.IsUIActive(); }, 20000));
    CEndingSite site(container, GetParam().end, EHears::Active);
    control.SetClientSite(&site);
    // Only the left button activates the control before its window gets the press.
    QTest::mousePress(control.GetPanel().Widget(), Qt::RightButton);
    EXPECT_EQ(site.m_iEnds, 1);
    EXPECT_EQ(m_bGone, GetParam().letsGo);
}

constexpr EndRow ENDS[] = {
    {"window_taken_down", [](Container& container) { container.control->DestroyControlWindow(); }, false},
    {"control_let_go", [](Container& container) { container.control.Reset(); }, true},
    {"container_deleted", [](Container& container) { container.window.reset(); }, false},
    {"all_of_it",
     [](Container& container) {
         container.control.Reset();
         container.window.reset();
     },
     true},
};

INSTANTIATE_TEST_SUITE_P(Ends, MessageBoxEndTest, testing::ValuesIn(ENDS),
                         [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(Ends, EndingSiteTest, testing::ValuesIn(ENDS),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
