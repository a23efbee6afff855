#pragma once

#include <gmock/gmock.h>

#include <QApplication>
#include <QFile>
#include <optional>

#include "activex/MainDialog.h"
#include "model/NodeModel.h"
#include "model/settings/Language.h"
#include "model/tree/Devices.h"
#include "platform/qt/QtPlatform.h"
#include "remote/Remote.h"
#include "remote/RemoteStation.h"
#include "render/D3DSurfaceRender.h"
#include "render/device/MemorySurfaceDevice.h"
#include "tests/activex/home_support.h"
#include "tests/support/model_state.h"
#include "tests/support/render_state.h"

inline std::vector<std::string> g_Calls;
inline int g_iExit = 0;
inline std::uint16_t g_SocketVersion = 0;

// A panel on a machine without sockets, which keeps what its start-up answered.
class CSocketlessPanel : public CMainDialog
{
  public:
    CSocketlessPanel() : CMainDialog(MakeStation, nullptr, Refuse) {}
    std::optional<bool> m_Answer;

  protected:
    bool OnInitDialog() override
    {
        m_Answer = CMainDialog::OnInitDialog();
        return *m_Answer;
    }

  private:
    static int Refuse(std::uint16_t version)
    {
        g_SocketVersion = version;
        return WSAVERNOTSUPPORTED;
    }
};

class CToldRemote;
inline std::vector<CToldRemote*> g_Told;  // those alive

class CToldRemote : public CRemote
{
  public:
    CToldRemote(std::string name, std::int32_t status)
    {
        SetName(std::move(name));
        SetStatus(status);
        GetState()->m_bRunning = status != STATUS_CLOSED;
        g_Told.push_back(this);
    }
    ~CToldRemote() override
    {
        std::erase(g_Told, this);
        g_Calls.push_back("deleted " + GetName());
    }
    void LetGo() override
    {
        CRemote::LetGo();
        g_Calls.push_back("let go " + GetName());
        // No thread is woken while another is still to go on.
        for (CToldRemote* const other : g_Told)
            EXPECT_FALSE(other->GetState()->m_bRunning) << other->GetName();
    }
    void Close() override { g_Calls.push_back("close " + GetName()); }
};

class CToldStation : public CRemoteStation
{
  public:
    explicit CToldStation(std::string name) { SetName(std::move(name)); }
    ~CToldStation() override { g_Calls.push_back("deleted " + GetName()); }
};

class MainDialogTest : public testing::Test
{
  protected:
    MainDialogTest()
    {
        StartQtPlatform();
        m_Container.resize(800, 600);
        g_Calls.clear();
        g_iExit = 0;
    }
    ~MainDialogTest() override
    {
        m_Panel.reset();
        QCoreApplication::removePostedEvents(qApp, QEvent::Quit);
        StopQtPlatform();
    }
    CMainDialog& Start()
    {
        m_Panel.emplace(CMainDialog::MakeStation, [](int code) { g_iExit = code; });
        EXPECT_TRUE(m_Panel->Create(&m_Container));
        m_Panel->MoveWindow(0, 0, 800, 600);
        m_Container.show();
        return *m_Panel;
    }
    QByteArray ReadFile(const char* name) const
    {
        QFile file(m_Home.File(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    // In the file, so that it shows whether the start-up moves it.
    void PutLayoutButtonElsewhere() const
    {
        QByteArray layout = ReadFile("config/main_layout_800x600.xml");
        ASSERT_TRUE(layout.contains("<left>660</left><top>6</top>"));
        layout.replace("<left>660</left><top>6</top><right>56</right><bottom>36</bottom>",
                       "<left>300</left><top>40</top><right>9</right><bottom>8</bottom>");
        QFile file(m_Home.File("config/main_layout_800x600.xml"));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(layout);
    }
    void Layout(int index) const
    {
        SendMessageA(m_Panel->Handle(), WM_COMMAND, static_cast<WPARAM>(MAIN_COMMAND_LAYOUT_FIRST + index), 0);
    }
    void LoggedOn(int channels) const { SendMessageA(m_Panel->Handle(), LOGON_MESSAGE_ADDED, 0, channels); }
    QRect PlaceOf(int control) const { return m_Panel->GetDlgItem(control)->geometry(); }
    // A station with a channel of each of these states: 'o' open, 'c' closed.
    static void AddStation(const std::string& name, const std::string& states)
    {
        auto* const station = new CToldStation(name);
        auto* const devices = new CDevices;
        devices->m_bVisible = true;
        for (std::size_t i = 0; i < states.size(); ++i)
            devices->Add(
                new CToldRemote(name + std::to_string(i), states[i] == 'o' ? STATUS_OPEN : STATUS_CLOSED),
                nullptr);
        station->Add(devices, nullptr);
        CNodeModel::GetInstance()->GetRoot()->Add(station, nullptr);
    }

    CTestHome m_Home;
    std::shared_ptr<CMemorySurfaceAdapter> m_pAdapter = std::make_shared<CMemorySurfaceAdapter>();
    const CModelState m_Model;
    const CRenderState m_Render{m_pAdapter};
    QWidget m_Container;
    std::optional<CMainDialog> m_Panel;
};
