#include <QFileInfo>
#include <QLabel>
#include <QPixmap>
#include <QPushButton>
#include <utility>

#include "activex/MainDialog.h"
#include "activex/UI common/BoxTexts.h"
#include "activex/UI common/Outlook2Ctrl.h"
#include "activex/UI common/PanelIcons.h"
#include "common/RenderWnd.h"
#include "inc/CxLog.h"
#include "inc/LogLine.h"
#include "model/archive/XMLInputArchive.h"
#include "model/layout/LayoutRecords.h"
#include "model/settings/Language.h"
#include "model/settings/SystemSettings.h"
#include "platform/os/paths.h"
#include "platform/os/system_language.h"
#include "platform/qt/QtPlatform.h"
#include "skin/Skin.h"

// The start-up of the system, in its order.

namespace
{

constexpr std::uint16_t SOCKET_VERSION = 0x101;
constexpr std::int32_t GRID_MODE = 3;
constexpr std::int32_t FIRST_LAYOUT_CELLS = 8;
constexpr int BUTTON_GAP = 20;  // between the two buttons
constexpr int CAPTION_LEFT = 2;
constexpr int CAPTION_WIDTH = 60;
constexpr int CAPTION_HEIGHT = 15;
constexpr int CONFIG_SLOT = MAIN_COMMAND_CONFIG - CMainDialog::BUTTON_BASE;
constexpr int LAYOUT_SLOT = MAIN_COMMAND_LAYOUT_MENU - CMainDialog::BUTTON_BASE;

struct Folder {
    const char* key;
    int icon;
};

constexpr Folder FOLDERS[] = {
    {"IDS_Main_RemoteLogon", 20000},  {"IDS_Main_DeviceList", 20001},   {"IDS_Main_PTZControl", 20002},
    {"IDS_Main_RemoteRecord", 20003}, {"IDS_Main_ColorSetting", 20004},
};

QString Text(const std::string& key)
{
    return QString::fromStdString(CLanguage::GetString(key));
}

HHOOK g_hMessageHook = HHOOK::Null;  // one for the process, which the panels share
int g_iHookUsers = 0;

}  // namespace

void CMainDialog::OnCreateControls()
{
    AddControl(LOGO_CONTROL, new QLabel(Widget()));
}

bool CMainDialog::OnInitDialog()
{
    SetSystemLanguage();
    CLanguage::GetInstance();  // what comes next has texts to show already
    SetButtonTexts(GetBoxButtonText);
    // The demuxing library registers its media formats by itself.
    InstallHook();
    AttachObserver(this);
    XMainWnd layout;
    XMLInputArchive archive(GetModuleDirectory() + "config\\main_layout_800x600.xml");
    archive& Named("m_XMainWnd", layout);
    ApplyMainLayout(layout);
    if (!CreateGrid()) m_pExit(-1);
    if (m_pStartSockets(SOCKET_VERSION) != 0) {
        LogFault("CMainDialog::OnInitDialog", "the sockets don't start; there are no panels");
        return false;
    }
    m_bSocketsStarted = true;
    AddFolders();
    CreateCaptions();
    m_pRenderWnd->SetLayoutForCount(FIRST_LAYOUT_CELLS);
    m_pRenderWnd->show();
    m_Logon.TakeFocus();  // the logon is the first step
    LogLine(ELogLevel::Message, "CMainDialog::OnInitDialog", "started in " + GetModuleDirectory());
    return true;
}

// Written at each start, so it overrides whatever was there.
void CMainDialog::SetSystemLanguage()
{
    WriteSetting(ESetting::Language, std::string(GetLanguageName(GetSystemDefaultLangID())) + ".ini");
}

// Keys, and the left button, reach the module's windows before the host's message loop has its way with them.
void CMainDialog::InstallHook()
{
    m_bUsesHook = true;
    if (g_iHookUsers++ > 0) return;
    g_hMessageHook = SetWindowsHookExA([](int code, WPARAM removed, MSG& message) {
        const bool key = code >= HC_ACTION && removed == PM_REMOVE && message.message >= WM_KEYDOWN &&
                         message.message <= WM_UNICHAR;
        // oddity: left-button-at-any-code. Code and flag count for keys alone.
        if ((key || message.message == WM_LBUTTONDOWN) &&
            WalkPreTranslateTree(message) == EPreTranslate::Handled) {
            message.message = WM_NULL;
            message.wParam = 0;
            message.lParam = 0;
        }
        return CallNextHookEx(code, removed, message);
    });
}

void CMainDialog::RemoveHook()
{
    if (!std::exchange(m_bUsesHook, false) || --g_iHookUsers > 0) return;
    UnhookWindowsHookEx(g_hMessageHook);
    g_hMessageHook = HHOOK::Null;
}

void CMainDialog::ApplyMainLayout(const XMainWnd& layout)
{
    for (std::size_t i = 0; i < layout.list_wnd.size(); ++i) {
        const XWnd* const wnd = layout.list_wnd[i];
        if (wnd == nullptr) continue;
        if (wnd->skin_id == "Main_Bar")
            CreateSideBar(*wnd);
        else if (wnd->skin_id == "_Logo")
            LoadLogo(*wnd);
        else if (wnd->skin_id == "ButtonLayout" || wnd->skin_id == "ButtonConfig")
            CreateButton(*wnd);
    }
}

// In these records "right" is a width and "bottom" a height.
void CMainDialog::CreateSideBar(const XWnd& wnd)
{
    if (m_pSideBar != nullptr) return;
    m_pSideBar = AddControl(SIDE_BAR, new COutlook2Ctrl(Widget(), Handle()));
    m_pSideBar->move(wnd.rect.left, wnd.rect.top);
    m_pSideBar->resize(wnd.rect.right, wnd.rect.bottom);
    m_pSideBar->SetWidthLimit(wnd.rect.right);  // the grid begins where the bar's place ends
    QObject::connect(m_pSideBar, &COutlook2Ctrl::LayoutRequested, m_pSideBar, [this] { PlaceSideBar(); });
    PlaceSideBar();
    m_pSideBar->show();
}

void CMainDialog::PlaceSideBar()
{
    const int width = m_pSideBar->GetLayoutSize().width();
    m_pSideBar->resize(std::max(width, COutlook2Ctrl::RESIZE_BAND), m_pSideBar->height());
}

void CMainDialog::LoadLogo(const XWnd& wnd)
{
    auto* const logo = GetDlgItem<QLabel>(LOGO_CONTROL);
    const std::string path = GetModuleDirectory() + "config\\logo.bmp";
    const QPixmap picture(QString::fromStdString(HostPath(path)));
    if (picture.isNull())
        LogLine(ELogLevel::Warning, "CMainDialog::LoadLogo", path + " is missing or no picture");
    logo->setPixmap(picture);
    logo->setGeometry(wnd.rect.left, wnd.rect.top, wnd.rect.right, wnd.rect.bottom);
    logo->setScaledContents(true);
    logo->setAccessibleName(QStringLiteral("Watchwall"));
}

void CMainDialog::CreateButton(const XWnd& wnd)
{
    const bool slot = wnd.resource_id >= 0 && static_cast<std::size_t>(wnd.resource_id) < BUTTONS;
    if (!slot || m_Buttons[static_cast<std::size_t>(wnd.resource_id)] != nullptr) return;
    auto* const button = AddControl(BUTTON_BASE + wnd.resource_id, new QPushButton(Widget()));
    m_Buttons[static_cast<std::size_t>(wnd.resource_id)] = button;
    SkinControl(button, wnd.skin_id.c_str());
    // The style bit that the system adds here moves a check mark to the right of its text: a push button has
    // none, so there is nothing to build for it.
    button->setToolTip(Text(wnd.tool_tip));
    button->setAccessibleName(Text(wnd.tool_tip));
    button->setGeometry(wnd.rect.left, wnd.rect.top, wnd.rect.right, wnd.rect.bottom);
    button->show();
}

bool CMainDialog::CreateGrid()
{
    XRenderWnd record;
    XMLInputArchive archive(GetModuleDirectory() + "config\\render_layout_800x600.xml");
    archive& Named("m_XRenderWnd", record);
    m_pRenderWnd = std::make_unique<CRenderWnd>();
    const bool built = m_pRenderWnd->Init(Widget(), record, GRID_MODE);
    // The grid may have gone while its message box stood.
    if (m_pRenderWnd != nullptr) m_Tree.SetGrid(m_pRenderWnd->Handle());
    return built;
}

void CMainDialog::AddFolders()
{
    if (m_pSideBar == nullptr) return;
    CDialog* const panels[] = {&m_Logon, &m_Tree};
    for (std::size_t i = 0; i < std::size(FOLDERS); ++i) {
        const QIcon icon = MakeFolderIcon(FOLDERS[i].icon);
        const bool built = i < std::size(panels) && panels[i]->Create(m_pSideBar);
        m_pSideBar->AddFolder(Text(FOLDERS[i].key), icon, built ? panels[i]->Widget() : nullptr);
    }
}

void CMainDialog::CreateCaptions()
{
    QPushButton* const config = m_Buttons[CONFIG_SLOT];
    QPushButton* const layout = m_Buttons[LAYOUT_SLOT];
    if (config == nullptr || layout == nullptr) return;
    layout->setGeometry(config->x() - BUTTON_GAP - config->width(), config->y(), config->width(),
                        config->height());
    m_Captions[0] = CreateCaption(MAIN_COMMAND_CONFIG_CAPTION, "IDS_CONFIG_TEXT", *config);
    m_Captions[1] = CreateCaption(MAIN_LABEL_LAYOUT, "IDS_Client_Layout_Text", *layout);
}

QPushButton* CMainDialog::CreateCaption(int id, const char* key, const QPushButton& above)
{
    auto* const caption = AddControl(id, new QPushButton(Text(key), Widget()));
    caption->setFocusPolicy(Qt::NoFocus);
    caption->setFlat(true);
    caption->setGeometry(above.x() - CAPTION_LEFT, above.y() + above.height(), CAPTION_WIDTH, CAPTION_HEIGHT);
    SkinControl(caption, "ButtonText");
    caption->show();
    return caption;
}
