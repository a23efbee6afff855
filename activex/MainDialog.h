#pragma once

#include <QColor>
#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "activex/UI common/LogonRemoteDlg.h"
#include "activex/UI common/TreeDlg.h"
#include "model/tree/Observer.h"
#include "platform/os/socket_calls.h"
#include "platform/qt/Dialog.h"

class COutlook2Ctrl;
class CRenderWnd;
class QPushButton;
struct XMainWnd;
struct XWnd;

// Commands of the main panel.
inline constexpr int MAIN_COMMAND_CONFIG = 6018;
inline constexpr int MAIN_COMMAND_CONFIG_CAPTION = 6061;
inline constexpr int MAIN_COMMAND_LAYOUT_MENU = 6025;
inline constexpr int MAIN_COMMAND_LAYOUT_FIRST = 60000;
inline constexpr int MAIN_COMMAND_LAYOUT_LAST = 61000;
/// oddity: caption-without-handler. The caption beneath the layout button is a label, the one beneath the other
/// opens the configuration.
inline constexpr int MAIN_LABEL_LAYOUT = 62;
/// A device changed: the tree's icons are repainted.
inline constexpr std::uint32_t MAIN_MESSAGE_DEVICE_CHANGED = 0x7EA;

/// The one panel that holds everything else: the grid, the side bar with its panels, two buttons. Its start-up
/// is the start-up of the whole system and its end the shut-down; it is the model's only observer. Panels'
/// thread only, but for Update.
class CMainDialog : public CDialog, public CObserver
{
  public:
    static constexpr int TEMPLATE = 202;
    static constexpr int LOGO_CONTROL = 275;
    static constexpr int SIDE_BAR = 19999;
    static constexpr std::size_t BUTTONS = 72;
    static constexpr int BUTTON_BASE = 6000;  // a button's command is this and its slot

    /// Ends the process when the grid can't be built; a test puts its own here.
    using Exit = void (*)(int code);
    /// Starts the socket layer for a version and gives 0; a test's own may refuse.
    using SocketStart = int (*)(std::uint16_t version);
    explicit CMainDialog(CLogonRemoteDlg::StationFactory stations = MakeStation, Exit exit = nullptr,
                         SocketStart startSockets = WSAStartup);
    /// The kind of station that the logon panel builds.
    static std::unique_ptr<CRemoteStation> MakeStation();
    ~CMainDialog() override;

    /// On any thread: has the panel's thread repaint the tree's icons and returns when that is done. Nothing
    /// for a null node. No lock may be held that the panel's thread needs meanwhile.
    void Update(CNode* node, std::string message) override;

    static QColor GetGround();
    CRenderWnd* GetGrid() const { return m_pRenderWnd.get(); }
    COutlook2Ctrl* GetSideBar() const { return m_pSideBar; }
    CTreeDlg& GetTree() { return m_Tree; }
    CLogonRemoteDlg& GetLogon() { return m_Logon; }
    bool IsCycling() const { return m_bPageCycle; }

  protected:
    void OnCreateControls() override;
    std::int32_t OnCreate() override;
    bool OnInitDialog() override;
    void OnDestroy() override;
    void OnPaint(QPainter& painter, const QRect& area) override;
    void OnClose() override;
    bool OnCommand(int id) override;
    LRESULT WindowProc(std::uint32_t message, WPARAM wParam, LPARAM lParam) override;

  private:
    void SetSystemLanguage();
    void InstallHook();
    void RemoveHook();
    void ApplyMainLayout(const XMainWnd& layout);
    void CreateSideBar(const XWnd& wnd);
    void PlaceSideBar();
    void LoadLogo(const XWnd& wnd);
    void CreateButton(const XWnd& wnd);
    bool CreateGrid();
    void AddFolders();
    void CreateCaptions();
    QPushButton* CreateCaption(int id, const char* key, const QPushButton& above);
    void OnStationAdded(std::int32_t channels);
    void ShowLayoutMenu();
    void OnLayoutCommand(int index);
    void CloseDevices();

    std::array<QPushButton*, 5> m_Captions{};  // the first two are used
    COutlook2Ctrl* m_pSideBar = nullptr;       // the window's, as all controls
    CLogonRemoteDlg m_Logon;
    CTreeDlg m_Tree;
    std::array<QPushButton*, BUTTONS> m_Buttons{};
    std::unique_ptr<CRenderWnd> m_pRenderWnd;
    bool m_bPageCycle = false;
    bool m_bUsesHook = false;
    bool m_bSocketsStarted = false;
    std::atomic<HWND> m_hSelf{HWND::Null};  // for Update, on link threads
    Exit m_pExit;
    SocketStart m_pStartSockets;
};
