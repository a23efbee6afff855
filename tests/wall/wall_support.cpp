#include "tests/wall/wall_support.h"

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QFile>
#include <QLineEdit>
#include <QMessageBox>
#include <QTest>
#include <cmath>
#include <cstdlib>

#include "activex/UI common/Outlook2Ctrl.h"
#include "activex/UI common/TreeCtrlEx.h"
#include "common/RenderCell.h"
#include "common/RenderWnd.h"
#include "model/NodeModel.h"
#include "model/settings/Language.h"
#include "remote/Remote.h"
#include "tests/support/test_places.h"

namespace
{

constexpr int TIME_LIMIT_MS = 60000;
constexpr int BOX_LOOK_MS = 20;
constexpr int NEAR = 48;  // of a colour after lossy coding in studio levels

int Distance(QRgb a, QRgb b)
{
    return std::abs(qRed(a) - qRed(b)) + std::abs(qGreen(a) - qGreen(b)) + std::abs(qBlue(a) - qBlue(b));
}

// Counts the keys released anywhere in the program.
class CKeyEcho : public QObject
{
  public:
    CKeyEcho() { qApp->installEventFilter(this); }
    int m_iReleases = 0;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::KeyRelease && watched->isWindowType()) ++m_iReleases;
        return false;
    }
};

}  // namespace

std::vector<std::string> ColorRecorder(std::size_t channels)
{
    std::vector<std::string> words{"--channels", std::to_string(channels), "--size", "352x288", "--fps", "12"};
    for (std::size_t i = 0; i < channels; ++i) {
        char colour[16];
        std::snprintf(colour, sizeof colour, "0x%06X", CHANNEL_COLORS[i % CHANNEL_COLORS.size()] & 0xFFFFFF);
        words.emplace_back("--source");
        words.push_back(std::to_string(i + 1) + "=lavfi:color=c=" + colour +
                        ":s=352x288:r=12[a];color=c=white:s=48x48:r=12[b];[a][b]overlay=x='mod(n*8,304)':y=16");
    }
    return words;
}

// By a point of the lower half, where no block runs.
int ChannelIn(const QImage& cell)
{
    const QImage picture = cell.copy(cell.width() / 2 - 2, cell.height() - 1 - cell.height() / 4, 4, 4);
    if (picture.isNull()) return -1;
    for (std::size_t i = 0; i < CHANNEL_COLORS.size(); ++i) {
        bool all = true;
        for (int y = 0; y < picture.height(); ++y) {
            for (int x = 0; x < picture.width(); ++x)
                all = all && Distance(picture.pixel(x, y), CHANNEL_COLORS[i]) < NEAR;
        }
        if (all) return static_cast<int>(i);
    }
    return -1;
}

// A cell that moves or is painted anew between two looks hasn't played by that.
bool Plays(const CScreen& screen, const std::function<QRect()>& place, int channel)
{
    QImage before;
    return CWall::Until([&] {
        QGuiApplication::sync();  // what was asked of the server stands on the screen
        const QImage now = screen.Grab(place());
        if (ChannelIn(now) != channel) return false;
        if (before.size() != now.size()) before = now;
        return now != before;
    });
}

bool ChooseFromMenu(CScreen& screen, const std::function<bool(const QAction&)>& wanted)
{
    const auto open = [] { return qobject_cast<QMenu*>(QApplication::activePopupWidget()); };
    if (!CWall::Until([&] { return open() != nullptr && QTest::qWaitForWindowExposed(open()); })) return false;
    const QPointer<QMenu> menu = open();
    for (QAction* action : menu->actions()) {
        if (action->isSeparator() || !wanted(*action)) continue;
        screen.Click(menu->mapToGlobal(menu->actionGeometry(action).center()));
        return CWall::Until([&menu] { return menu == nullptr || !menu->isVisible(); });
    }
    menu->close();
    return false;
}

void WriteSettings(const CTestHome& home, const CRecorderProcess& recorder, bool sharedReceive)
{
    const Endpoints endpoints = recorder.GetEndpoints();
    QFile settings(home.File("config/system.ini"));
    if (!settings.open(QIODevice::WriteOnly)) throw std::runtime_error("the settings can't be written");
    settings.write(QStringLiteral("[System]\nDirectoryPort=%1\nRendezvousPort=%2\nStandardChroma=1\n%3")
                       .arg(endpoints.directoryPort)
                       .arg(endpoints.rendezvousPort)
                       .arg(sharedReceive ? "SharedReceive=1\n" : "")
                       .toUtf8());
}

CWall::CWall(const WallSetup& setup)
    : m_bSharedReceive(setup.sharedReceive),
      m_Locale("LC_ALL", setup.locale),
      m_Screen(qgetenv("DISPLAY").toStdString())
{
    QFile::copy(QString::fromStdString(SourcePath("dvr.bmp")), m_Home.File("dvr.bmp"));
    StartRecorder(setup.recorder);
    if (setup.prepare) setup.prepare(m_Home);
    QObject::connect(&m_BoxTimer, &QTimer::timeout, [this] { AnswerBox(); });
    m_BoxTimer.start(BOX_LOOK_MS);
    m_pWindow = std::make_unique<CMainWindow>();
    m_pControl = new CActiveXCtrl;
    CComPtr<IControlWindow> control(m_pControl);
    m_pControl->Release();
    if (!m_pWindow->Embed(std::move(control), QStringLiteral("classic")))
        throw std::runtime_error("the control has no window");
    m_pWindow->show();
    if (!QTest::qWaitForWindowExposed(m_pWindow.get())) throw std::runtime_error("the window does not show");
    m_pWindow->activateWindow();
    Until([this] { return m_pWindow->isActiveWindow(); });
}

void CWall::StartRecorder(const std::vector<std::string>& arguments)
{
    m_pRecorder = std::make_unique<CRecorderProcess>(arguments);
    WriteSettings(m_Home, *m_pRecorder, m_bSharedReceive);
}

CWall::~CWall()
{
    m_pWindow.reset();
    QCoreApplication::removePostedEvents(qApp, QEvent::Quit);
}

bool CWall::Until(const std::function<bool()>& condition)
{
    return QTest::qWaitFor(condition, TIME_LIMIT_MS);
}

// A click that came before the box took input is made again.
void CWall::AnswerBox()
{
    auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    if (box == nullptr || !box->isVisible() || !QTest::qWaitForWindowExposed(box)) return;
    if (m_pAnswered != box) m_Boxes.push_back(box->text().toStdString());
    m_pAnswered = box;
    Click(*box->buttons().constFirst());
}

void CWall::Click(const QWidget& widget, CScreen::EButton button)
{
    m_Screen.Click(widget.mapToGlobal(widget.rect().center()), button);
}

// Each press is served before the next one, so that none goes beyond what is wanted.
bool CWall::PressUntil(std::uint32_t keysym, const std::function<bool()>& condition)
{
    constexpr int PRESSES = 60;
    CKeyEcho echo;
    for (int i = 0; i < PRESSES && !condition(); ++i) {
        const int heard = echo.m_iReleases;
        m_Screen.Key(keysym);
        if (!Until([&] { return echo.m_iReleases > heard; })) return false;
    }
    return condition();
}

bool CWall::TabTo(const QWidget& widget)
{
    return PressUntil(KEY_TAB, [&widget] { return QApplication::focusWidget() == &widget; });
}

bool CWall::ShowFolder(int index)
{
    COutlook2Ctrl& bar = *Panel().GetSideBar();
    m_Screen.Click(bar.mapToGlobal(bar.GetFolder(index).m_Rect.center()));
    return Until([&] { return bar.GetSelectedFolder() == index && !bar.IsSliding(); });
}

bool CWall::TypeAddress(const std::string& address)
{
    auto* const field = Control<QComboBox>(CLogonRemoteDlg::ADDRESS);
    if (field == nullptr || !Until([field] { return field->isVisible(); })) return false;
    Click(*field->lineEdit());
    if (!Until([field] { return field->lineEdit()->hasFocus(); })) return false;
    m_Screen.Type(address);
    return Until([&] { return field->currentText().toStdString() == address; });
}

bool CWall::LogOn()
{
    if (!TypeAddress()) return false;
    Click(*Control(IDOK));
    if (!Until([this] { return Folder().isValid() && Tree().isVisible(); })) return false;
    QApplication::processEvents();  // what the new arrangement has to paint
    return true;
}

QModelIndex CWall::Station()
{
    return Tree().model()->index(0, 0);
}

QModelIndex CWall::Folder()
{
    return Station().isValid() ? Tree().model()->index(0, 0, Station()) : QModelIndex();
}

QModelIndex CWall::ChannelItem(int channel)
{
    return Folder().isValid() ? Tree().model()->index(channel, 0, Folder()) : QModelIndex();
}

CRemote* CWall::Channel(int channel)
{
    return dynamic_cast<CRemote*>(Panel().GetTree().NodeOf(ChannelItem(channel)));
}

QPoint CWall::LabelOnScreen(const QModelIndex& item)
{
    return Tree().viewport()->mapToGlobal(Tree().GetLabelRect(item).center());
}

bool CWall::Choose(const QModelIndex& item, int command)
{
    if (!item.isValid()) return false;
    m_Screen.Click(LabelOnScreen(item), CScreen::EButton::Right);
    return ChooseFromMenu([command](const QAction& action) { return action.data().toInt() == command; });
}

bool CWall::ChooseLayout(const QString& text)
{
    Click(*Control(MAIN_COMMAND_LAYOUT_MENU));
    return ChooseFromMenu([&text](const QAction& action) { return action.text() == text; });
}

bool CWall::Open(int channel)
{
    return Choose(ChannelItem(channel), TREE_COMMAND_OPEN) &&
           Until([&] { return Channel(channel)->GetStatus() != STATUS_CLOSED; });
}

QRect CWall::CellOnScreen(int cell)
{
    const CRenderCell* const window = Grid().GetCell(static_cast<std::size_t>(cell));
    return {window->mapToGlobal(QPoint(0, 0)), window->size()};
}
