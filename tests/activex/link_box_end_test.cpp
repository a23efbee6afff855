// A link's thread asks for a message box, and the container ends the control while it stands.

#include <gtest/gtest.h>

#include <QApplication>
#include <QMessageBox>
#include <QTest>
#include <QTimer>
#include <QTreeView>
#include <QWidget>
#include <algorithm>
#include <atomic>
#include <memory>
#include <string>

#include "activex/ActiveXCtrl.h"
#include "activex/MainDialog.h"
#include "activex/UI common/TreeCtrlEx.h"
#include "activex/UI common/TreeDlg.h"
#include "model/NodeModel.h"
#include "model/tree/Devices.h"
#include "platform/qt/MessageBoxes.h"
#include "platform/windows/windows.h"
#include "remote/LinkThreads.h"
#include "remote/Remote.h"
#include "remote/RemoteStation.h"
#include "render/device/MemorySurfaceDevice.h"
#include "tests/activex/home_support.h"
#include "tests/support/model_state.h"
#include "tests/support/render_state.h"

namespace
{

// Tells of a fault by a box: at once, or when it is to end.
class CFailingLink final : public ILink
{
  public:
    explicit CFailingLink(bool atOnce) : m_bFails(atOnce) {}
    void Run() override
    {
        m_bFails.wait(false);
        MessageBoxA(HWND::Null, "the link fails", "", MB_OK);
    }
    void Cancel() override
    {
        m_bFails = true;
        m_bFails.notify_all();
    }

  private:
    std::atomic<bool> m_bFails;
};

// Closed and deleted as the product's channels are.
class CFailingChannel final : public CRemote
{
  public:
    explicit CFailingChannel(bool atOnce)
    {
        SetStatus(STATUS_OPEN);
        m_Threads.Start(std::make_shared<CFailingLink>(atOnce), "failing link");
    }
    ~CFailingChannel() override
    {
        LeaveFolder();
        LetGo();
        m_Threads.PutAside(0);
        m_Threads.EndLate();
    }
    CFailingChannel(const CFailingChannel&) = delete;
    CFailingChannel& operator=(const CFailingChannel&) = delete;
    void LetGo() override { m_Threads.Cancel(); }
    void Close() override
    {
        SetStatus(STATUS_CLOSED);
        LetGo();
        if (!m_Threads.PutAside(3000)) LeaveStateBehind();
        SetStatus(STATUS_CLOSED);
    }

  private:
    CLinkThreads m_Threads;
};

struct CommandRow {
    const char* name;
    int command;
    int depth;  // of the selected node: station, folder, channel
};

// The control's window, with a station of one channel in its tree.
class LinkBoxEndTest : public testing::TestWithParam<CommandRow>
{
  protected:
    LinkBoxEndTest()
    {
        m_pControl = new CActiveXCtrl;
        EXPECT_EQ(m_pControl->CreateControlWindow(&m_Container), S_OK);
        m_Container.show();
        QObject::connect(&m_Ending, &QTimer::timeout, [this] {
            if (qobject_cast<QMessageBox*>(QApplication::activeModalWidget()) == nullptr) return;
            m_Ending.stop();
            m_bInCommand = m_bCommand;
            m_pControl->DestroyControlWindow();
        });
        m_Ending.start(5);
    }
    ~LinkBoxEndTest() override
    {
        m_pControl->Release();
        QCoreApplication::removePostedEvents(qApp, QEvent::Quit);
    }

    void AddStation(bool atOnce) const
    {
        auto* const station = new CRemoteStation;
        station->m_bVisible = true;
        auto* const devices = new CDevices;
        devices->m_bVisible = true;
        devices->Add(new CFailingChannel(atOnce), nullptr);
        station->Add(devices, nullptr);
        CNodeModel::GetInstance()->GetRoot()->Add(station, nullptr);
        m_pControl->GetPanel().GetTree().ReloadTree();
    }

    // The tree's command of the row, on the node of the row.
    void Command() const
    {
        CTreeDlg& panel = m_pControl->GetPanel().GetTree();
        QModelIndex node = panel.GetRootItem();
        for (int depth = 0; depth < GetParam().depth; ++depth)
            node = panel.GetTree()->model()->index(0, 0, node);
        ASSERT_TRUE(node.isValid());
        panel.GetTree()->setCurrentIndex(node);
        SendMessageA(panel.Handle(), WM_COMMAND, static_cast<WPARAM>(GetParam().command), 0);
    }

    void ExpectEnd() const
    {
        EXPECT_TRUE(QTest::qWaitFor([this] { return !m_Ending.isActive(); }, 20000));
        EXPECT_EQ(m_pControl->GetControlWindow(), nullptr);
        EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
    }

    const CTestHome m_Home;
    const CModelState m_Model;
    const CRenderState m_Render{std::make_shared<CMemorySurfaceAdapter>()};
    QWidget m_Container;
    CActiveXCtrl* m_pControl = nullptr;
    QTimer m_Ending;  // of the control, once a box stands
    bool m_bCommand = false;
    bool m_bInCommand = false;  // the box was waited for in the command
};

TEST_F(LinkBoxEndTest, ContainerMayEndTheControlWhileTheBoxOfALinkStands)
{
    AddStation(true);
    ExpectEnd();
}

TEST_P(LinkBoxEndTest, CommandDoesNotWaitForTheBoxOfALinkThatItEnds)
{
    AddStation(false);
    m_bCommand = true;
    Command();
    m_bCommand = false;
    ExpectEnd();
    EXPECT_FALSE(m_bInCommand) << "the container could delete what the command works on";
}

// Ends the control when it is told something.
class CEndingSink final : public IMessageSink
{
  public:
    explicit CEndingSink(CActiveXCtrl& control) : m_Control(control) { m_Control.SetMessageSink(this); }
    virtual ~CEndingSink() { m_Control.SetMessageSink(nullptr); }
    CEndingSink(const CEndingSink&) = delete;
    CEndingSink& operator=(const CEndingSink&) = delete;
    void OnMessage(const std::string&, const std::string&) override
    {
        m_bInCommand = m_bCommand;
        if (!m_bCommand) m_Control.DestroyControlWindow();
        m_bTold = true;
    }
    bool m_bTold = false;
    bool m_bCommand = false;
    bool m_bInCommand = false;

  private:
    CActiveXCtrl& m_Control;
};

TEST_F(LinkBoxEndTest, ContainerMayEndTheControlWhenItIsToldTheMessageOfALink)
{
    CEndingSink sink(*m_pControl);
    AddStation(true);
    EXPECT_TRUE(QTest::qWaitFor([&] { return sink.m_bTold; }, 20000));
    EXPECT_EQ(m_pControl->GetControlWindow(), nullptr);
}

TEST_P(LinkBoxEndTest, ContainerIsToldTheMessageOfALinkThatACommandEndsAfterTheCommand)
{
    CEndingSink sink(*m_pControl);
    AddStation(false);
    sink.m_bCommand = true;
    Command();
    sink.m_bCommand = false;
    EXPECT_TRUE(QTest::qWaitFor([&] { return sink.m_bTold; }, 20000));
    EXPECT_FALSE(sink.m_bInCommand) << "the container could delete what the command works on";
    EXPECT_EQ(m_pControl->GetControlWindow(), nullptr);
}

constexpr CommandRow COMMANDS[] = {
    {"close", TREE_COMMAND_CLOSE, 2},
    {"close_all", TREE_COMMAND_CLOSE_ALL, 1},
    {"delete_station", TREE_COMMAND_DELETE, 0},
};

// Two controls and the container of each.
struct Containers {
    std::unique_ptr<QWidget> windows[2] = {std::make_unique<QWidget>(), std::make_unique<QWidget>()};
    CComPtr<IControlWindow> controls[2];
};

struct EndRow {
    const char* name;
    void (*end)(Containers& containers);
};

class CQuitFilter final : public QObject
{
  public:
    bool eventFilter(QObject*, QEvent* event) override { return event->type() == QEvent::Quit; }
};

class LinkBoxesTest : public testing::Test
{
  protected:
    static constexpr int LINKS = 3;

    LinkBoxesTest() { qApp->installEventFilter(&m_Filter); }

    static void Embed(Containers& containers)
    {
        for (int i = 0; i < 2; ++i) {
            containers.controls[i].Receive([](void** made) {
                *made = static_cast<IControlWindow*>(new CActiveXCtrl);
                return S_OK;
            });
            ASSERT_EQ(containers.controls[i]->CreateControlWindow(containers.windows[i].get()), S_OK);
            containers.windows[i]->show();
        }
    }
    // A station with channels whose links fail.
    static void AddLinks(bool failAtOnce)
    {
        auto* const station = new CRemoteStation;
        auto* const devices = new CDevices;
        for (int i = 0; i < LINKS; ++i)
            devices->Add(new CFailingChannel(failAtOnce), nullptr);
        station->Add(devices, nullptr);
        CNodeModel::GetInstance()->GetRoot()->Add(station, nullptr);
    }

    const CTestHome m_Home;
    const CModelState m_Model;
    const CRenderState m_Render{std::make_shared<CMemorySurfaceAdapter>()};
    CQuitFilter m_Filter;  // the test goes on, so no loop is to end
};

class LinkBoxesEndTest : public LinkBoxesTest, public testing::WithParamInterface<EndRow>
{
};

TEST_P(LinkBoxesEndTest, ContainerMayEndAControlWhileTheBoxesOfLinksStandOneOverTheOther)
{
    Containers containers;
    Embed(containers);
    AddLinks(true);
    const auto boxes = [] {
        return std::ranges::count_if(QApplication::topLevelWidgets(), [](QWidget* widget) {
            return widget->isVisible() && qobject_cast<QMessageBox*>(widget) != nullptr;
        });
    };
    QTimer ending;
    QObject::connect(&ending, &QTimer::timeout, [&] {
        if (boxes() < LINKS) return;
        ending.stop();
        GetParam().end(containers);
    });
    ending.start(5);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !ending.isActive() && boxes() == 0; }, 20000));
}

// The links fail together: their messages come while what the container does about the first one is at work.
TEST_P(LinkBoxesEndTest, ContainerMayEndAControlAtEachMessageOfALink)
{
    Containers containers;
    Embed(containers);
    int told = 0;
    SetMessageTeller([&](std::string_view, std::string_view) {
        ++told;
        GetParam().end(containers);
    });
    AddLinks(true);
    EXPECT_TRUE(QTest::qWaitFor([&] { return told == LINKS; }, 20000));
    containers = {};
    SetMessageTeller({});
}

constexpr EndRow ENDS[] = {
    {"window_taken_down", [](Containers& all) { all.controls[1]->DestroyControlWindow(); }},
    {"control_let_go", [](Containers& all) { all.controls[1].Reset(); }},
    {"container_deleted", [](Containers& all) { all.windows[1].reset(); }},
    {"all_of_one",
     [](Containers& all) {
         all.controls[1].Reset();
         all.windows[1].reset();
     }},
    {"both_containers_deleted",
     [](Containers& all) {
         all.windows[1].reset();
         all.windows[0].reset();
     }},
    {"both_let_go",
     [](Containers& all) {
         all.controls[0].Reset();
         all.controls[1].Reset();
     }},
    {"made_anew",
     [](Containers& all) {
         all.controls[1]->DestroyControlWindow();
         EXPECT_TRUE(SUCCEEDED(all.controls[1]->CreateControlWindow(all.windows[1].get())));
     }},
};

using LinkMessagesEndTest = LinkBoxesTest;

// Ends all controls, and deletes the container's windows, at the first message that it is told.
class CEndingAllSink final : public IMessageSink
{
  public:
    explicit CEndingAllSink(Containers& containers) : m_Containers(containers)
    {
        Control().SetMessageSink(this);
    }
    virtual ~CEndingAllSink() { Control().SetMessageSink(nullptr); }
    CEndingAllSink(const CEndingAllSink&) = delete;
    CEndingAllSink& operator=(const CEndingAllSink&) = delete;
    void OnMessage(const std::string&, const std::string&) override
    {
        ++m_iTold;
        for (const auto& control : m_Containers.controls)
            control->DestroyControlWindow();
        for (auto& window : m_Containers.windows)
            window.reset();
    }
    int m_iTold = 0;

  private:
    CActiveXCtrl& Control() { return static_cast<CActiveXCtrl&>(*m_Containers.controls[0]); }
    Containers& m_Containers;
};

TEST_F(LinkMessagesEndTest, ContainerMayEndAnotherControlWhenItIsToldTheMessageOfALinkThatAControlEnds)
{
    Containers containers;
    Embed(containers);
    AddLinks(false);
    CEndingAllSink sink(containers);
    containers.controls[0]->DestroyControlWindow();
    EXPECT_EQ(sink.m_iTold, LINKS);
    for (const auto& control : containers.controls)
        EXPECT_EQ(control->GetControlWindow(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Ends, LinkBoxesEndTest, testing::ValuesIn(ENDS),
                         [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(Commands, LinkBoxEndTest, testing::ValuesIn(COMMANDS),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
