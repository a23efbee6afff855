#pragma once

#include <QImage>
#include <QMenu>
#include <QPointer>
#include <QTimer>
#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "activex/ActiveXCtrl.h"
#include "host/MainWindow.h"
#include "tests/activex/home_support.h"
#include "tests/links/recorder_support.h"
#include "tests/support/model_state.h"
#include "tests/support/test_variable.h"
#include "tests/support/virtual_display.h"

class CRenderWnd;
class CTreeCtrlEx;

/// The pictures of a test's channels: one plain colour each with a white block that runs through them, so that
/// a look at a cell tells which channel is in it and whether it moves.
inline constexpr std::array<QRgb, 4> CHANNEL_COLORS = {0xFFC03030, 0xFF30A030, 0xFF3030C0, 0xFFB0A020};

/// Options of a recorder with these channels.
std::vector<std::string> ColorRecorder(std::size_t channels = CHANNEL_COLORS.size());

/// The channel whose picture that look at a cell shows; -1 for none.
int ChannelIn(const QImage& cell);
/// Whether two looks at that part of the screen, asked for with each look, show different pictures of the
/// channel.
bool Plays(const CScreen& screen, const std::function<QRect()>& place, int channel);
/// Waits for the menu and clicks the entry for which `wanted` holds.
bool ChooseFromMenu(CScreen& screen, const std::function<bool(const QAction&)>& wanted);

/// "config/system.ini" of `home`, with the recorder's servers.
void WriteSettings(const CTestHome& home, const CRecorderProcess& recorder, bool sharedReceive);

struct WallSetup {
    bool sharedReceive = true;
    const char* locale = "C";
    std::vector<std::string> recorder = ColorRecorder();
    std::function<void(const CTestHome&)> prepare;  // of the module directory, before the control is made
};

/// The container's window with the control in it and a recorder beside them, in a home of its own; and a user
/// in front, who acts by the X server's mouse and keyboard and sees what is on the screen. What the user's
/// steps wait for is a condition; they answer false when it doesn't come about.
class CWall
{
  public:
    explicit CWall(const WallSetup& setup = {});
    ~CWall();
    CWall(const CWall&) = delete;
    CWall& operator=(const CWall&) = delete;

    CMainDialog& Panel() { return m_pControl->GetPanel(); }
    CRenderWnd& Grid() { return *Panel().GetGrid(); }
    CTreeCtrlEx& Tree() { return *Panel().GetTree().GetTree(); }
    CMainWindow& Window() { return *m_pWindow; }
    CScreen& Screen() { return m_Screen; }
    CRecorderProcess& Recorder() { return *m_pRecorder; }
    /// Puts a new recorder in the place of the one there was and its servers into the settings.
    void StartRecorder(const std::vector<std::string>& arguments);
    const CTestHome& Home() const { return m_Home; }
    template <typename Kind = QWidget>
    Kind* Control(int id)
    {
        return Panel().Widget()->findChild<Kind*>(QStringLiteral("control%1").arg(id));
    }
    /// Ends the window with the control in it.
    void Close() { m_pWindow.reset(); }

    /// Serves events until `condition` holds; false after a minute.
    static bool Until(const std::function<bool()>& condition);

    void Click(const QWidget& widget, CScreen::EButton button = CScreen::EButton::Left);
    /// Presses Tab until `widget` has the keyboard.
    bool TabTo(const QWidget& widget);
    /// Presses the key until `condition` holds; false after as many presses as no list here is long.
    bool PressUntil(std::uint32_t keysym, const std::function<bool()>& condition);
    /// Clicks the side bar's button of that folder and waits for its page.
    bool ShowFolder(int index);
    /// Types `address` into the logon panel's field; nothing else.
    bool TypeAddress(const std::string& address = "1001");
    /// Types the address and clicks the button; returns when the station is in the tree.
    bool LogOn();
    /// Right click on the row, then a click on the entry with that command.
    bool Choose(const QModelIndex& item, int command);
    bool ChooseFromMenu(const std::function<bool(const QAction&)>& wanted)
    {
        return ::ChooseFromMenu(m_Screen, wanted);
    }
    /// Clicks the layout button and the entry of that text.
    bool ChooseLayout(const QString& text);

    QModelIndex Station();
    QModelIndex Folder();
    /// `channel` counts from 0.
    QModelIndex ChannelItem(int channel);
    CRemote* Channel(int channel);
    QPoint LabelOnScreen(const QModelIndex& item);
    bool Open(int channel);

    QRect CellOnScreen(int cell);
    QImage GrabCell(int cell) { return m_Screen.Grab(CellOnScreen(cell)); }
    int ChannelInCell(int cell) { return ChannelIn(GrabCell(cell)); }
    bool CellPlays(int cell, int channel)
    {
        return Plays(
            m_Screen, [this, cell] { return CellOnScreen(cell); }, channel);
    }

    /// Texts of the message boxes that came up; each was answered by a click on its default button.
    std::vector<std::string> m_Boxes;

  private:
    void AnswerBox();

    CTestHome m_Home;
    const CModelState m_Model;
    const bool m_bSharedReceive;
    const CTestVariable m_Locale;
    std::unique_ptr<CRecorderProcess> m_pRecorder;
    CScreen m_Screen;
    std::unique_ptr<CMainWindow> m_pWindow;
    CActiveXCtrl* m_pControl;  // the window's
    QTimer m_BoxTimer;
    QPointer<QWidget> m_pAnswered;
};
