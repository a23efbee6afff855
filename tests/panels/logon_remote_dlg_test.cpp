#include "activex/UI common/LogonRemoteDlg.h"

#include <gmock/gmock.h>

#include <QAbstractItemView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QTest>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <thread>

#include "common/HistoryCombo.h"
#include "model/NodeModel.h"
#include "model/settings/Language.h"
#include "model/tree/Devices.h"
#include "platform/files/profile.h"
#include "platform/qt/MessageBoxes.h"
#include "platform/qt/QtPlatform.h"
#include "platform/windows/serving.h"
#include "tests/activex/home_support.h"
#include "tests/support/box_catcher.h"
#include "tests/support/model_state.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

// How a station answers; -1 channels stand for no folder at all.
struct Answer {
    bool connects = true;
    bool logsOn = true;
    int channels = 2;
    bool throws = false;
    std::function<void()> work = {};  // of the connection, which is waited for
};

class LogonDlgTest : public testing::Test
{
  protected:
    class CScriptedStation : public CRemoteStation
    {
      public:
        CScriptedStation(LogonDlgTest& test, const Answer& answer) : m_Test(test), m_Answer(answer) {}
        ~CScriptedStation() override
        {
            if (m_Test.m_bListens) m_Test.m_Calls.push_back("deleted");
        }
        bool Connect(const std::string& address, std::int32_t control, std::int32_t data) override
        {
            m_Test.m_Calls.push_back("connect " + address.substr(0, 20) + " " + std::to_string(control) + " " +
                                     std::to_string(data) + " as " + GetName().substr(0, 20));
            m_Test.m_Address = address.size();
            m_Test.LookAtThePanel();
            if (m_Answer.work) RunServing(m_Answer.work);
            if (m_Answer.throws) throw std::runtime_error("no memory");
            return m_Answer.connects;
        }
        bool Logon(const std::string& user, const std::string& password) override
        {
            m_Test.m_Calls.push_back("logon " + user + " " + password);
            return m_Answer.logsOn;
        }
        std::unique_ptr<CDevices> EnumDevices() override
        {
            m_Test.m_Calls.emplace_back("devices");
            if (m_Answer.channels < 0) return nullptr;
            auto devices = std::make_unique<CDevices>();
            for (int i = 0; i < m_Answer.channels; ++i)
                devices->Add(new CFolder, nullptr);
            return devices;
        }
        bool Disconnect() override
        {
            m_Test.m_Calls.push_back(m_Test.m_Boxes->m_Texts.empty() ? "disconnect"
                                                                     : "disconnect behind the box");
            return true;
        }

      private:
        LogonDlgTest& m_Test;
        const Answer m_Answer;
    };

    LogonDlgTest()
    {
        StartQtPlatform();
        CLanguage::SetLanguage("eng");
        m_Boxes.emplace();
        m_pOuter = std::make_unique<QWidget>();
        m_pOuter->resize(300, 500);
        m_pBar = new QWidget(m_pOuter.get());
        m_pBar->resize(200, 480);
        m_OuterHandle.emplace(*m_pOuter, [this](std::uint32_t message, WPARAM wParam, LPARAM lParam) {
            m_Messages.push_back({message, static_cast<int>(wParam), static_cast<int>(lParam)});
            m_strBusyAtMessage = StatusLine();
            m_strCallBeforeMessage = m_Calls.back();
            return LRESULT{0};
        });
    }
    ~LogonDlgTest() override
    {
        m_bListens = false;
        m_Dlg.reset();
        m_OuterHandle.reset();
        m_pOuter.reset();
        m_Boxes.reset();
        StopQtPlatform();
    }
    void Show(const char* language = "eng")
    {
        CLanguage::Reset();
        CLanguage::SetLanguage(language);
        m_Dlg.emplace([this] {
            m_Calls.emplace_back("new");
            Answer answer;
            if (!m_Answers.empty()) {
                answer = m_Answers.front();
                m_Answers.erase(m_Answers.begin());
            }
            return std::make_unique<CScriptedStation>(*this, answer);
        });
        ASSERT_TRUE(m_Dlg->Create(m_pBar));
        m_Dlg->MoveWindow(0, 0, 200, 400);
        m_pOuter->show();
    }
    void Enter(const QString& address) { Combo().setEditText(address); }
    void Accept() { SendMessageA(m_Dlg->Handle(), WM_COMMAND, IDOK, 0); }
    CHistoryCombo& Combo() { return *m_Dlg->GetDlgItem<CHistoryCombo>(CLogonRemoteDlg::ADDRESS); }
    QLineEdit& Edit(int id) { return *m_Dlg->GetDlgItem<QLineEdit>(id); }
    std::string StatusLine() { return m_Dlg->GetDlgItemText(CLogonRemoteDlg::STATUS_LINE); }
    QPushButton& Button() { return *m_Dlg->GetDlgItem<QPushButton>(IDOK); }
    /// The busy line as it is on the screen.
    QImage SeenLine()
    {
        const QWidget& line = *m_Dlg->GetDlgItem(CLogonRemoteDlg::STATUS_LINE);
        const QRect place(line.mapTo(m_pOuter.get(), QPoint(0, 0)), line.size());
        return m_pOuter->screen()
            ->grabWindow(m_pOuter->winId(), place.x(), place.y(), place.width(), place.height())
            .toImage();
    }
    void LookAtThePanel()
    {
        m_BusyLine = SeenLine();
        m_strBusy = StatusLine();
        m_bBusyCursor = QApplication::overrideCursor() != nullptr &&
                        QApplication::overrideCursor()->shape() == Qt::WaitCursor;
        m_bAccepts = Button().isEnabled();
    }
    void ExpectAtRest()
    {
        EXPECT_EQ(StatusLine(), "");
        EXPECT_EQ(QApplication::overrideCursor(), nullptr);
        EXPECT_TRUE(Button().isEnabled());
    }
    static std::vector<std::string> Stations()
    {
        std::vector<std::string> names;
        const auto walk = CNodeModel::GetInstance()->GetRoot()->CreateIterator();
        for (; walk->HasNext(); walk->Next())
            names.push_back(walk->CurrentItem()->GetName());
        return names;
    }

    struct Message {
        std::uint32_t message;
        int first;
        int second;
        bool operator==(const Message&) const = default;
    };

    CTestHome m_Home;
    const CModelState m_Model;
    std::optional<CBoxCatcher> m_Boxes;
    std::vector<Answer> m_Answers;  // of the stations to come; then all is well
    std::vector<std::string> m_Calls;
    bool m_bListens = true;
    std::size_t m_Address = 0;
    std::unique_ptr<QWidget> m_pOuter;
    QWidget* m_pBar;
    std::optional<CWindowHandle> m_OuterHandle;
    std::vector<Message> m_Messages;
    std::string m_strBusyAtMessage;
    std::string m_strCallBeforeMessage;
    // of the panel while a station connects
    std::string m_strBusy;
    QImage m_BusyLine;
    bool m_bBusyCursor = false;
    bool m_bAccepts = true;
    std::optional<CLogonRemoteDlg> m_Dlg;
};

TEST_F(LogonDlgTest, StartsWithEmptyFieldsAndTheTwoPorts)
{
    Show();
    EXPECT_EQ(Combo().currentText(), "");
    EXPECT_EQ(Edit(CLogonRemoteDlg::USER).text(), "");
    EXPECT_EQ(Edit(CLogonRemoteDlg::PASSWORD).text(), "");
    EXPECT_EQ(Edit(CLogonRemoteDlg::PASSWORD).echoMode(), QLineEdit::Password);
    EXPECT_EQ(Edit(CLogonRemoteDlg::CONTROL_PORT).text(), "10060");
    EXPECT_EQ(Edit(CLogonRemoteDlg::DATA_PORT).text(), "10061");
    EXPECT_EQ(m_Dlg->GetChannelsAdded(), 0);
    EXPECT_EQ(m_Dlg->GetDlgItem(207), nullptr) << "the text for it shows nowhere";
}

TEST_F(LogonDlgTest, ControlsArePlacedByTheWidthOfThePanel)
{
    Show();
    const struct {
        int control;
        QRect place;
    } places[] = {
        {1000, {7, 10, 173, 22}},  {1447, {7, 40, 173, 22}},  {1001, {7, 70, 173, 22}},
        {1241, {7, 100, 173, 22}}, {1002, {7, 130, 173, 22}}, {1242, {7, 160, 173, 22}},
        {1003, {7, 215, 73, 22}},  {1065, {98, 215, 82, 22}}, {1004, {7, 255, 73, 22}},
        {1066, {98, 255, 82, 22}}, {IDOK, {58, 295, 55, 23}},
    };
    for (const auto& place : places)
        EXPECT_EQ(m_Dlg->GetDlgItem(place.control)->geometry(), place.place) << place.control;
    EXPECT_EQ(m_Dlg->Widget()->grab().toImage().pixelColor(195, 395), QColor(0xC5, 0xC5, 0xC5)) << "beneath";
}

struct LanguageRow {
    const char* name;
    std::vector<std::string> captions;  // of the controls 1000 to 1004 and of the button
    const char* title;
    const char* busy;
    std::vector<std::string> failures;  // connect, user name, devices, exists
};

class LogonDlgLanguageTest : public LogonDlgTest, public testing::WithParamInterface<LanguageRow>
{
};

TEST_P(LogonDlgLanguageTest, CaptionsBusyLineAndFailuresAreInTheCurrentLanguage)
{
    Show(GetParam().name);
    std::vector<std::string> captions;
    for (const int control : {1000, 1001, 1002, 1003, 1004, IDOK})
        captions.push_back(m_Dlg->GetDlgItemText(control));
    EXPECT_EQ(captions, GetParam().captions);
    EXPECT_EQ(m_Dlg->Widget()->windowTitle().toStdString(), GetParam().title);
    m_Answers = {{false}, {false}, {true, false}, {true, true, -1}, {}, {}};
    Enter("1001");
    for (int i = 0; i < 5; ++i)
        Accept();
    EXPECT_EQ(m_Boxes->m_Texts, GetParam().failures);
    EXPECT_EQ(m_strBusy, GetParam().busy);
    ExpectAtRest();
}

INSTANTIATE_TEST_SUITE_P(
    Languages, LogonDlgLanguageTest,
    testing::Values(
        LanguageRow{"eng",
                    {"Net id:", "User name:", "Password:", "Ctrl port:", "Data port:", "Log on"},
                    "Remote logon",
                    "Logging on to 1001 …",
                    {"The station cannot be reached.", "The user name or the password is wrong.",
                     "The station gave no device information.", "This station is in the list already."}},
        LanguageRow{
            "chs",
            {"网络标识：", "用户名：", "密码：", "控制端口：", "数据端口：", "登录"},
            "远程登录",
            "正在登录 1001……",
            {"无法连接到主机。", "用户名或密码错误。", "无法获取主机的设备信息。", "该主机已在列表中。"}},
        LanguageRow{
            "cht",
            {"網路識別碼：", "使用者名稱：", "密碼：", "控制連接埠：", "資料連接埠：", "登入"},
            "遠端登入",
            "正在登入 1001……",
            {"無法連線到主機。", "使用者名稱或密碼錯誤。", "無法取得主機的裝置資訊。", "該主機已在清單中。"}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(LogonDlgTest, BusyLineIsOnTheScreenWhileTheStationConnects)
{
    Show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(m_pOuter.get()));
    QImage empty;
    ASSERT_TRUE(QTest::qWaitFor([&] {
        empty = SeenLine();
        return !empty.isNull() && empty.pixelColor(1, 1) == QColor(0xC5, 0xC5, 0xC5);
    }));
    Enter("1001");
    Accept();
    EXPECT_NE(m_BusyLine, empty);
    EXPECT_TRUE(QTest::qWaitFor([&] { return SeenLine() == empty; })) << "and it goes";
}

TEST_F(LogonDlgTest, BusyLineShowsTheNetIdAsItStands)
{
    Show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(m_pOuter.get()));
    Enter("1001");
    Accept();
    const QImage plain = m_BusyLine;
    Enter("<i></i>1001");
    Accept();
    EXPECT_NE(m_BusyLine, plain) << "what looks like a tag is none";
}

// A close that comes with the click is the event loop's to serve, once the logon is through.
TEST_F(LogonDlgTest, NothingElseIsServedBeforeTheStationConnects)
{
    Show();
    bool served = false;
    QTimer::singleShot(0, m_pOuter.get(), [&] { served = true; });
    Enter("1001");
    Accept();
    EXPECT_FALSE(served);
    EXPECT_TRUE(QTest::qWaitFor([&] { return served; }));
}

class LogonDlgGoneTest : public LogonDlgTest, public testing::WithParamInterface<bool>
{
};

// The calls that a container has queued for its own objects are served while the panel waits.
TEST_P(LogonDlgGoneTest, WindowMayGoWhileTheStationConnects)
{
    Show();
    std::atomic<bool> gone = false;
    const auto untilGone = [&gone] {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!gone && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    };
    m_Answers = {{.connects = GetParam(), .work = untilGone}};
    QMetaObject::invokeMethod(
        m_pOuter.get(), [&] { gone = m_Dlg->DestroyWindow(); }, Qt::QueuedConnection);
    Enter("1001");
    Accept();
    EXPECT_TRUE(gone);
    EXPECT_THAT(m_Boxes->m_Texts, IsEmpty());
    EXPECT_THAT(Stations(), IsEmpty());
    EXPECT_THAT(m_Messages, IsEmpty());
    EXPECT_EQ(std::ranges::count(m_Calls, "new"), 1);
    EXPECT_EQ(std::ranges::count(m_Calls, "disconnect"), GetParam() ? 1 : 0);
    EXPECT_EQ(m_Calls.back(), "deleted");
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Connects, LogonDlgGoneTest, testing::Bool());

TEST_F(LogonDlgTest, SuccessAddsTheStationInOrderAndTellsTheTotal)
{
    Show();
    Enter("1001");
    Edit(CLogonRemoteDlg::USER).setText("guard");
    Edit(CLogonRemoteDlg::PASSWORD).setText("secret");
    Accept();
    EXPECT_THAT(m_Calls, ElementsAre("new", "connect 1001 10060 10061 as 1001", "logon guard secret", "devices",
                                     "disconnect"));
    EXPECT_THAT(Stations(), ElementsAre("1001"));
    EXPECT_THAT(m_Messages, ElementsAre(Message{0x9999, 0, 2}));
    EXPECT_EQ(m_strBusyAtMessage, "") << "the logon is through when the main panel hears of it";
    EXPECT_EQ(m_strCallBeforeMessage, "disconnect");
    EXPECT_THAT(m_Boxes->m_Texts, IsEmpty());
    EXPECT_EQ(Combo().currentText(), "1001");
    EXPECT_EQ(Edit(CLogonRemoteDlg::USER).text(), "guard") << "the panel keeps its entries";
    EXPECT_EQ(Edit(CLogonRemoteDlg::PASSWORD).text(), "secret");
    EXPECT_TRUE(m_Dlg->Widget()->isVisible()) << "and stays";
    ExpectAtRest();
}

TEST_F(LogonDlgTest, TotalIsTheParentsParentsAndNotTheParents)
{
    Show();
    int atParent = 0;
    const CWindowHandle parent(*m_pBar, [&atParent](std::uint32_t, WPARAM, LPARAM) {
        ++atParent;
        return LRESULT{0};
    });
    Enter("1001");
    Accept();
    EXPECT_EQ(m_Messages.size(), 1U);
    EXPECT_EQ(atParent, 0);
}

TEST_F(LogonDlgTest, TotalGrowsWithEachStationAsLongAsThePanelLives)
{
    m_Answers = {{true, true, 4}, {true, true, 0}, {true, true, 3}};
    Show();
    for (const char* address : {"1", "2", "3"}) {
        Enter(address);
        Accept();
    }
    EXPECT_THAT(m_Messages, ElementsAre(Message{0x9999, 0, 4}, Message{0x9999, 0, 4}, Message{0x9999, 0, 7}));
    EXPECT_THAT(Stations(), ElementsAre("1", "2", "3")) << "one without channels is added too";
}

// A container may take its control's window down and make it anew: the stations are gone with the first one.
TEST_F(LogonDlgTest, TotalAndPortsBeginAnewWithANewWindow)
{
    Show();
    Edit(CLogonRemoteDlg::CONTROL_PORT).setText("1234");
    Edit(CLogonRemoteDlg::DATA_PORT).setText("1235");
    Enter("1001");
    Accept();
    m_Dlg->DestroyWindow();
    CNodeModel::GetInstance()->DeleteRoot();
    ASSERT_TRUE(m_Dlg->Create(m_pBar));
    EXPECT_EQ(m_Dlg->GetDlgItemText(CLogonRemoteDlg::CONTROL_PORT), "10060");
    EXPECT_EQ(m_Dlg->GetDlgItemText(CLogonRemoteDlg::DATA_PORT), "10061");
    Enter("1001");
    Accept();
    EXPECT_THAT(m_Messages,
                ElementsAre(Message{LOGON_MESSAGE_ADDED, 0, 2}, Message{LOGON_MESSAGE_ADDED, 0, 2}));
}

TEST_F(LogonDlgTest, ListOfAddressesDropsAHundredAndTwentyTwoPixelsDeep)
{
    Show();
    for (int i = 0; i < 10; ++i)
        Combo().AddString(QString::number(i));
    Combo().showPopup();
    EXPECT_EQ(Combo().view()->window()->height(), 122);
    Combo().hidePopup();
}

TEST_F(LogonDlgTest, PortsOfTheFieldsHaveNoEffect)
{
    Show();
    Enter("7");
    Edit(CLogonRemoteDlg::CONTROL_PORT).setText("80");
    Edit(CLogonRemoteDlg::DATA_PORT).setText("");
    Accept();
    EXPECT_EQ(m_Calls[1], "connect 7 10060 10061 as 7");
    EXPECT_EQ(Edit(CLogonRemoteDlg::CONTROL_PORT).text(), "80");
}

TEST_F(LogonDlgTest, PortsTakeDigitsOnly)
{
    Show();
    auto& port = Edit(CLogonRemoteDlg::CONTROL_PORT);
    port.clear();
    QTest::keyClicks(&port, "8x-0 y123456");
    EXPECT_EQ(port.text(), "80123");
}

TEST_F(LogonDlgTest, OneFailureToConnectIsAnsweredWithAFreshStation)
{
    m_Answers = {{false}, {}};
    Show();
    Enter("9");
    Accept();
    EXPECT_THAT(m_Calls, ElementsAre("new", "connect 9 10060 10061 as 9", "deleted", "new",
                                     "connect 9 10060 10061 as 9", "logon  ", "devices", "disconnect"));
    EXPECT_THAT(m_Boxes->m_Texts, IsEmpty());
    EXPECT_THAT(Stations(), ElementsAre("9"));
}

TEST_F(LogonDlgTest, TwoFailuresToConnectAreReported)
{
    m_Answers = {{false}, {false}};
    Show();
    Enter("9");
    Accept();
    EXPECT_THAT(m_Calls, ElementsAre("new", "connect 9 10060 10061 as 9", "deleted", "new",
                                     "connect 9 10060 10061 as 9", "deleted"));
    EXPECT_THAT(m_Boxes->m_Texts, ElementsAre("The station cannot be reached."));
    EXPECT_THAT(Stations(), IsEmpty());
    EXPECT_THAT(m_Messages, IsEmpty());
    EXPECT_EQ(Combo().currentText(), "9");
    EXPECT_EQ(Combo().count(), 0) << "no history of what failed";
}

TEST_F(LogonDlgTest, RefusedAccountIsReportedAndTheStationReleased)
{
    m_Answers = {{true, false}};
    Show();
    Enter("9");
    Accept();
    EXPECT_THAT(m_Calls, ElementsAre("new", "connect 9 10060 10061 as 9", "logon  ",
                                     "disconnect behind the box", "deleted"));
    EXPECT_THAT(m_Boxes->m_Texts, ElementsAre("The user name or the password is wrong."));
    EXPECT_THAT(Stations(), IsEmpty());
    EXPECT_THAT(m_Messages, IsEmpty());
}

TEST_F(LogonDlgTest, StationWithoutAFolderIsReportedAndReleased)
{
    m_Answers = {{true, true, -1}};
    Show();
    Enter("9");
    Accept();
    EXPECT_THAT(m_Calls, ElementsAre("new", "connect 9 10060 10061 as 9", "logon  ", "devices",
                                     "disconnect behind the box", "deleted"));
    EXPECT_THAT(m_Boxes->m_Texts, ElementsAre("The station gave no device information."));
    EXPECT_THAT(m_Messages, IsEmpty());
}

// oddity: known-station-stays. What was built for a name that is there already is neither disconnected nor
// deleted.
TEST_F(LogonDlgTest, StationOfAKnownNameIsReportedAndLeftAlone)
{
    Show();
    Enter("9");
    Accept();
    m_Calls.clear();
    Accept();
    EXPECT_THAT(m_Calls, ElementsAre("new", "connect 9 10060 10061 as 9", "logon  ", "devices"));
    EXPECT_THAT(m_Boxes->m_Texts, ElementsAre("This station is in the list already."));
    EXPECT_THAT(Stations(), ElementsAre("9"));
    EXPECT_EQ(m_Messages.size(), 1U);
    EXPECT_EQ(m_Dlg->GetChannelsAdded(), 2);
}

TEST_F(LogonDlgTest, NodeOfThatNameThatIsNoStationDoesNotMatter)
{
    auto* const folder = new CFolder;
    folder->SetName("9");
    CNodeModel::GetInstance()->GetRoot()->Add(folder, nullptr);
    Show();
    Enter("9");
    Accept();
    EXPECT_THAT(m_Boxes->m_Texts, IsEmpty());
    EXPECT_THAT(Stations(), ElementsAre("9", "9"));
}

TEST_F(LogonDlgTest, StationOfThatNameIsFoundWhereverItStands)
{
    auto* const folder = new CFolder;
    auto* const station = new CStation;
    station->SetName("9");
    folder->Add(station, nullptr);
    CNodeModel::GetInstance()->GetRoot()->Add(folder, nullptr);
    Show();
    Enter("9");
    Accept();
    EXPECT_THAT(m_Boxes->m_Texts, ElementsAre("This station is in the list already."));
    EXPECT_THAT(Stations(), ElementsAre("Unknown"));
}

TEST_F(LogonDlgTest, MissingRootIsMade)
{
    Show();
    CNodeModel::GetInstance()->DeleteRoot();
    Enter("9");
    Accept();
    EXPECT_THAT(Stations(), ElementsAre("9"));
}

TEST_F(LogonDlgTest, WhileItWorksALineAndTheCursorSaySo)
{
    Show();
    Enter("1001");
    ExpectAtRest();
    Accept();
    EXPECT_EQ(m_strBusy, "Logging on to 1001 …");
    EXPECT_TRUE(m_bBusyCursor);
    EXPECT_FALSE(m_bAccepts) << "no second logon meanwhile";
    ExpectAtRest();
}

// A box stands as long as its user lets it.
TEST_F(LogonDlgTest, PanelIsAtRestBeforeItTellsAFailure)
{
    for (const Answer& failure : {Answer{false}, Answer{true, false}, Answer{true, true, -1}}) {
        m_Answers = {failure, failure};
        Show();
        Enter("9");
        int told = 0;
        SetMessageTeller([&](std::string_view, std::string_view) {
            ++told;
            ExpectAtRest();
        });
        Accept();
        SetMessageTeller({});
        EXPECT_EQ(told, 1);
    }
}

// The button is disabled meanwhile, which would hand the keyboard on.
TEST_F(LogonDlgTest, AfterAFailureTheKeyboardIsWhereItWas)
{
    m_Answers = {{false}, {false}, {false}, {false}};
    Show();
    for (QWidget* const widget : std::initializer_list<QWidget*>{&Button(), &Edit(CLogonRemoteDlg::USER)}) {
        m_pOuter->activateWindow();  // without a window manager nobody does it when the box has gone
        ASSERT_TRUE(QTest::qWaitForWindowActive(m_pOuter.get()));
        widget->setFocus();
        ASSERT_TRUE(widget->hasFocus());
        QTest::keyClick(widget, Qt::Key_Return);
        EXPECT_EQ(m_pOuter->focusWidget(), widget);
    }
    EXPECT_EQ(m_Boxes->m_Texts.size(), 2U);
}

TEST_F(LogonDlgTest, StationThatThrowsLeavesThePanelAtRest)
{
    m_Answers = {{true, true, 0, true}};
    Show();
    Enter("9");
    Accept();
    EXPECT_TRUE(m_bBusyCursor);
    ExpectAtRest();
    EXPECT_THAT(Stations(), IsEmpty());
    Accept();
    EXPECT_THAT(Stations(), ElementsAre("9")) << "and the next one goes through";
}

TEST_F(LogonDlgTest, AnyTextIsAnAddress)
{
    Show();
    const std::string longest(10000, 'x');
    for (const std::string& address :
         {std::string(), std::string("gate; drop %s%n"), std::string("门"), longest}) {
        Enter(QString::fromStdString(address));
        Accept();
        EXPECT_EQ(m_Address, address.size());
        EXPECT_EQ(Stations().back(), address);
        ExpectAtRest();
    }
    EXPECT_THAT(m_Boxes->m_Texts, IsEmpty());
    EXPECT_EQ(m_pBar->width(), 200) << "a long text makes nothing wider";
}

TEST_F(LogonDlgTest, AddressOfASuccessIsThereAtTheNextStart)
{
    Show();
    for (const char* address : {"1001", "1002"}) {
        Enter(address);
        Accept();
    }
    m_Dlg.reset();
    Show();
    ASSERT_EQ(Combo().count(), 2);
    EXPECT_EQ(Combo().itemText(0), "1002");
    EXPECT_EQ(Combo().itemText(1), "1001");
    EXPECT_EQ(Combo().currentText(), "1002") << "the last one is in the field";
    const auto stored = [](const char* key) {
        return GetProfileText("Setting", key, "", 256, GetApplicationProfilePath());
    };
    EXPECT_EQ(stored("HistoryCombo0"), "1002");
    EXPECT_EQ(stored("HistoryCombo1"), "1001");
    EXPECT_EQ(stored("HistoryCombo"), "1002");
}

// Who types another address at the next start replaces the one that was remembered.
TEST_F(LogonDlgTest, RememberedAddressIsReplacedByTyping)
{
    Show();
    Enter("1001");
    Accept();
    m_Dlg.reset();
    Show();
    ASSERT_EQ(Combo().currentText(), "1001");
    m_Dlg->TakeFocus();
    QTest::keyClicks(Combo().lineEdit(), "7");
    EXPECT_EQ(Combo().currentText(), "7");
}

TEST_F(LogonDlgTest, AddressOfAnyLengthIsThereAtTheNextStart)
{
    Show();
    const QString longest(10000, 'x');
    Enter(longest);
    Accept();
    m_Dlg.reset();
    Show();
    EXPECT_EQ(Combo().currentText(), longest);
    EXPECT_EQ(Combo().itemText(0), longest);
}

TEST_F(LogonDlgTest, PressGivesItsWindowTheKeyboardALabelToo)
{
    Show();
    for (const int control : {1241, 1000, 1065, 1004}) {
        QTest::mousePress(m_Dlg->GetDlgItem(control), Qt::LeftButton);
        EXPECT_EQ(m_pOuter->focusWidget(), m_Dlg->GetDlgItem(control)) << control;
        QTest::mouseRelease(m_Dlg->GetDlgItem(control), Qt::LeftButton);
    }
}

}  // namespace
