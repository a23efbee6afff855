#include "activex/UI common/LogonRemoteDlg.h"

#include <QApplication>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <utility>
#include <vector>

#include "activex/UI common/TextField.h"
#include "common/HistoryCombo.h"
#include "model/NodeModel.h"
#include "model/settings/Language.h"
#include "model/tree/CompositeIterator.h"
#include "model/tree/Devices.h"
#include "platform/qt/PanelsThread.h"
#include "remote/RemoteStation.h"
#include "skin/Skin.h"
#include "skin/SkinPaint.h"
#include "skin/theme/PanelColors.h"

namespace
{

struct Caption {
    int control;
    const char* key;
};

constexpr Caption CAPTIONS[] = {
    {1000, "IDS_LogonDlg_NetAddress"}, {1001, "IDS_Username"},          {1002, "IDS_Password"},
    {1003, "IDS_LogonDlg_CtrlPort"},   {1004, "IDS_LogonDlg_DataPort"}, {IDOK, "IDS_IE_LogonRemoteDlg"},
};
constexpr int LABELS[] = {1000, 1001, 1002, 1003, 1004};
constexpr int LIST_DEPTH = 122;  // of the addresses
// The panel has no such control: its text shows nowhere.
constexpr int MODE_CONTROL = 207;

// The controls that are labelled by another one, for assistive tools and for the order of the Tab key.
struct Buddy {
    int label;
    int field;
};
constexpr Buddy BUDDIES[] = {{1000, CLogonRemoteDlg::ADDRESS},
                             {1001, CLogonRemoteDlg::USER},
                             {1002, CLogonRemoteDlg::PASSWORD},
                             {1003, CLogonRemoteDlg::CONTROL_PORT},
                             {1004, CLogonRemoteDlg::DATA_PORT}};

QString Text(const char* key)
{
    return QString::fromStdString(CLanguage::GetString(key));
}

}  // namespace

CLogonRemoteDlg::CLogonRemoteDlg(StationFactory factory) : CDialog(TEMPLATE), m_Factory(std::move(factory)) {}

CLogonRemoteDlg::~CLogonRemoteDlg()
{
    DestroyWindow();
}

void CLogonRemoteDlg::OnCreateControls()
{
    for (const int label : LABELS)
        AddControl(label, new QLabel(Widget()));
    auto* const address = new CHistoryCombo(Widget(), false, CHistoryCombo::EStyle::Plain, new CTextField);
    AddControl(ADDRESS, address)->SetListDepth(LIST_DEPTH);
    AddControl(USER, new CTextField(Widget()));
    AddControl(PASSWORD, new CTextField(Widget()))->setEchoMode(QLineEdit::Password);
    for (const int port : {CONTROL_PORT, DATA_PORT}) {
        auto* const edit = AddControl(port, new CTextField(Widget()));
        edit->setValidator(new QIntValidator(0, 65535, edit));
    }
    AddControl(IDOK, new QPushButton(Widget()))->setDefault(true);
    auto* const status = AddControl(STATUS_LINE, new QLabel(Widget()));
    status->setWordWrap(true);
    status->setTextFormat(Qt::PlainText);  // a net id may look like a tag
}

std::int32_t CLogonRemoteDlg::OnCreate()
{
    SkinDialog(Widget(), "DialogMain");
    return 0;
}

bool CLogonRemoteDlg::OnInitDialog()
{
    // A window that is made anew begins as the first one did.
    m_iControlPort = DEFAULT_CONTROL_PORT;
    m_iDataPort = DEFAULT_DATA_PORT;
    m_iChannelsAdded = 0;
    GetDlgItem<CHistoryCombo>(ADDRESS)->LoadHistory("Setting", "HistoryCombo", true);
    SetWindowText(CLanguage::GetString("IDS_LogonRemoteDlg"));
    for (const Caption& caption : CAPTIONS)
        SetDlgItemText(caption.control, CLanguage::GetString(caption.key));
    SetDlgItemText(MODE_CONTROL, CLanguage::GetString("IDS_LogonDlg_Mode"));
    for (const Buddy& buddy : BUDDIES) {
        auto* const label = GetDlgItem<QLabel>(buddy.label);
        auto* const field = GetDlgItem<QWidget>(buddy.field);
        label->setBuddy(field);
        field->setAccessibleName(label->text());
        field->setToolTip(label->text());
    }
    GetDlgItem<QPushButton>(IDOK)->setToolTip(Text("IDS_LogonRemoteDlg"));
    SetDlgItemText(CONTROL_PORT, std::to_string(m_iControlPort));
    SetDlgItemText(DATA_PORT, std::to_string(m_iDataPort));
    PlaceControls(Widget()->width());
    for (const int label : LABELS)
        SkinControl(GetDlgItem<QLabel>(label), "ButtonStatic");
    SkinControl(GetDlgItem<QLabel>(STATUS_LINE), "ButtonStatic");
    return true;
}

void CLogonRemoteDlg::OnSize(int width, int)
{
    PlaceControls(width);
}

void CLogonRemoteDlg::OnPaint(QPainter& painter, const QRect& area)
{
    painter.fillRect(area, ToQColor(panel_color::GROUND));
}

void CLogonRemoteDlg::TakeFocus()
{
    ASSERT_PANELS_THREAD();
    auto* const address = GetDlgItem<CHistoryCombo>(ADDRESS);
    if (address == nullptr) return;
    address->setFocus(Qt::OtherFocusReason);
    address->lineEdit()->selectAll();  // typing replaces the address that was remembered
}

void CLogonRemoteDlg::PlaceControls(int width)
{
    if (GetDlgItem(ADDRESS) == nullptr) return;
    constexpr int L = 7;
    constexpr int T = 10;
    const int full = width - 27;
    const int half = (full - L) / 2;
    const int field = full - half + L - 15;
    struct Place {
        int control, x, y, width, height;
    };
    constexpr int ROW = 22;
    const Place places[] = {
        {1000, L, T, full, ROW},
        {ADDRESS, L, T + 30, full, ROW},
        {1001, L, T + 60, full, ROW},
        {USER, L, T + 90, full, ROW},
        {1002, L, T + 120, full, ROW},
        {PASSWORD, L, T + 150, full, ROW},
        {1003, L, T + 205, half - 10, ROW},
        {CONTROL_PORT, half + 15, T + 205, field, ROW},
        {1004, L, T + 245, half - 10, ROW},
        {DATA_PORT, half + 15, T + 245, field, ROW},
        {IDOK, half - 25, T + 285, 55, 23},
        {STATUS_LINE, L, T + 318, full, 2 * ROW},
    };
    for (const Place& place : places)
        GetDlgItem(place.control)->setGeometry(place.x, place.y, std::max(place.width, 0), place.height);
}

EPreTranslate CLogonRemoteDlg::PreTranslateMessage(MSG& message)
{
    // A press gives its window the keyboard before anything else happens. The menu of a field and the list of
    // addresses are windows of their own.
    const bool here = message.target != nullptr && message.target->window() == Widget()->window();
    if (here && message.message == WM_LBUTTONDOWN) message.target->setFocus(Qt::MouseFocusReason);
    return CDialog::PreTranslateMessage(message);
}

// oddity: any-net-id. Nothing refuses a text: what the directory doesn't know gives a station without channels.
void CLogonRemoteDlg::ReadControls()
{
    m_szAddress = GetDlgItemText(ADDRESS);
    m_szUserName = GetDlgItemText(USER);
    m_szPassword = GetDlgItemText(PASSWORD);
    m_iControlPort = std::atoi(GetDlgItemText(CONTROL_PORT).c_str());
    m_iDataPort = std::atoi(GetDlgItemText(DATA_PORT).c_str());
}

void CLogonRemoteDlg::ShowFailure(const char* key)
{
    ShowBusy(false);
    MessageBoxA(Handle(), CLanguage::GetString(key), CLanguage::GetString("IDS_LogonRemoteDlg"),
                MB_OK | MB_ICONWARNING);
}

// Painted at once, and without serving anything else: a close or a command that came now would end the panel
// under the logon.
void CLogonRemoteDlg::ShowBusy(bool busy)
{
    if (busy && !m_bBusy) QApplication::setOverrideCursor(Qt::WaitCursor);
    if (!busy && m_bBusy) QApplication::restoreOverrideCursor();
    m_bBusy = busy;
    auto* const line = GetDlgItem<QLabel>(STATUS_LINE);
    auto* const accept = GetDlgItem<QPushButton>(IDOK);
    if (line == nullptr || accept == nullptr) return;  // the window went meanwhile
    line->setText(busy ? Text("IDS_LogonDlg_Busy").arg(QString::fromStdString(m_szAddress)) : QString());
    if (busy) m_pFocus = QApplication::focusWidget();
    accept->setEnabled(!busy);
    // A button that is disabled loses the keyboard; it gets it back for the next try.
    if (!busy && m_pFocus != nullptr) std::exchange(m_pFocus, nullptr)->setFocus(Qt::OtherFocusReason);
    line->repaint();
    accept->repaint();
}

void CLogonRemoteDlg::OnOK()
{
    ReadControls();
    ShowBusy(true);
    // Also when a station throws: the panel must not stay busy.
    struct CAtRest {
        ~CAtRest() { panel.ShowBusy(false); }
        CLogonRemoteDlg& panel;
    } const atRest{*this};
    Logon();
}

// The ports of the fields aren't given to it: the constants are. One failure is answered with a fresh station.
std::unique_ptr<CRemoteStation> CLogonRemoteDlg::Connect()
{
    constexpr int ATTEMPTS = 2;
    for (int attempt = 0; attempt < ATTEMPTS && Widget() != nullptr; ++attempt) {
        auto station = m_Factory();
        station->SetName(m_szAddress);
        if (station->Connect(m_szAddress, DEFAULT_CONTROL_PORT, DEFAULT_DATA_PORT)) return station;
    }
    return nullptr;
}

void CLogonRemoteDlg::Logon()
{
    auto station = Connect();
    if (Widget() == nullptr) {  // the container took it down in the wait, by a call that it had queued
        if (station != nullptr) station->Disconnect();
        return;
    }
    if (station == nullptr) {
        ShowFailure("IDS_MessageBox_ConnectFailed");
        return;
    }
    if (!station->Logon(m_szUserName, m_szPassword)) {
        ShowFailure("IDS_MessageBox_WrongUserName");
        station->Disconnect();
        return;
    }
    auto devices = station->EnumDevices();
    if (devices == nullptr) {
        ShowFailure("IDS_MessageBox_NoDeviceInformation");
        station->Disconnect();
        return;
    }
    CNodeModel* const model = CNodeModel::GetInstance();
    if (model == nullptr) return;
    CCompositeIterator walk(model->GetRoot()->CreateIterator());
    for (; walk.HasNext(); walk.Next()) {
        auto* const known = dynamic_cast<CStation*>(walk.CurrentItem());
        if (known == nullptr || known->GetName() != m_szAddress) continue;
        // oddity: known-station-stays. The station that was built is not taken down again: its session goes on
        // for the life of the process.
        static auto* const lost =
            new std::vector<std::pair<std::unique_ptr<CDevices>, std::unique_ptr<CRemoteStation>>>;
        lost->emplace_back(std::move(devices), std::move(station));
        ShowFailure("IDS_MessgaeBOx_ItemAlreadyExist");
        return;
    }
    CDevices* const folder = devices.get();
    CRemoteStation* const added = station.get();
    if (model->GetRoot()->Add(added, nullptr)) static_cast<void>(station.release());  // the root's from here on
    if (added->Add(folder, nullptr)) static_cast<void>(devices.release());

    auto* const combo = GetDlgItem<CHistoryCombo>(ADDRESS);
    combo->AddString(combo->currentText());
    combo->SaveHistory(false);
    added->Disconnect();
    m_iChannelsAdded += folder->GetCount();
    ShowBusy(false);
    const QWidget* const parent = Widget()->parentWidget();
    SendMessageA(WindowOf(parent != nullptr ? parent->parentWidget() : nullptr), LOGON_MESSAGE_ADDED, 0,
                 m_iChannelsAdded);
}
