#include "platform/qt/Dialog.h"

#include <QAbstractButton>
#include <QCloseEvent>
#include <QComboBox>
#include <QEventLoop>
#include <QGroupBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPaintEvent>
#include <QPainter>
#include <QPushButton>
#include <exception>
#include <utility>

#include "inc/CxLog.h"
#include "inc/LogLine.h"
#include "platform/qt/HandlersAtWork.h"
#include "platform/qt/Keys.h"
#include "platform/qt/QtPlatform.h"

/// The window: hands its events to the dialog.
class CDialog::CWidget final : public QWidget
{
  public:
    CWidget(CDialog& dialog, QWidget* parent, Qt::WindowFlags flags) : QWidget(parent, flags), m_Dialog(dialog)
    {
    }
    ~CWidget() override { m_Dialog.WindowGoes(); }
    CWidget(const CWidget&) = delete;
    CWidget& operator=(const CWidget&) = delete;

    bool FocusFirst() { return focusNextChild(); }

  protected:
    void paintEvent(QPaintEvent* event) override
    {
        QPainter painter(this);
        m_Dialog.Call(ETell::Debugger, [&] { m_Dialog.OnPaint(painter, event->rect()); });
    }
    void resizeEvent(QResizeEvent*) override
    {
        m_Dialog.Call(ETell::Debugger, [&] { m_Dialog.OnSize(width(), height()); });
    }
    void closeEvent(QCloseEvent* event) override
    {
        event->ignore();  // the dialog decides
        m_Dialog.Call(ETell::User, [&] { m_Dialog.OnClose(); });
    }
    void keyPressEvent(QKeyEvent* event) override
    {
        if (!m_Dialog.DialogKey(event->key())) QWidget::keyPressEvent(event);
    }

  private:
    CDialog& m_Dialog;
};

CDialog::~CDialog()
{
    DestroyWindow();
}

QWidget* CDialog::Widget() const
{
    return m_pWidget;
}

HWND CDialog::Handle() const
{
    return m_pHandle ? m_pHandle->Get() : HWND::Null;
}

template <typename THandler>
void CDialog::Call(ETell tell, THandler handler) noexcept
{
    const CHandlerAtWork atWork;  // at its end the dialog may go
    try {
        handler();
    } catch (const std::exception& fault) {
        Tell(tell, fault.what());
    } catch (...) {
        Tell(tell, "unknown exception");
    }
}

void CDialog::Tell(ETell tell, const char* fault) const
{
    LogLine(ELogLevel::Error, "CDialog::Tell", std::string("dialog: a handler failed: ") + fault);
    if (tell == ETell::User) MessageBoxA(Handle(), fault, "Watchwall", MB_OK | MB_ICONERROR);
}

void CDialog::Command(int id)
{
    Call(ETell::User, [this, id] { OnCommand(id); });
}

namespace
{
/// Forgets the loop before it goes, whatever leaves it.
class CLoopEnd
{
  public:
    explicit CLoopEnd(QEventLoop*& loop) : m_pLoop(loop) {}
    ~CLoopEnd() { m_pLoop = nullptr; }
    CLoopEnd(const CLoopEnd&) = delete;
    CLoopEnd& operator=(const CLoopEnd&) = delete;

  private:
    QEventLoop*& m_pLoop;
};
}  // namespace

/// Ends the window of a dialog whose start-up is left by an exception.
class CDialog::CStartUp
{
  public:
    explicit CStartUp(CDialog& dialog) : m_pDialog(&dialog) {}
    ~CStartUp()
    {
        if (m_pDialog) m_pDialog->DestroyWindow();
    }
    CStartUp(const CStartUp&) = delete;
    CStartUp& operator=(const CStartUp&) = delete;

    void Done() { m_pDialog = nullptr; }

  private:
    CDialog* m_pDialog;
};

bool CDialog::Build(QWidget* parent, Qt::WindowFlags flags)
{
    ASSERT_THREAD(m_PanelsThread);
    m_pWidget = new CWidget(*this, parent, flags);
    m_pWidget->setObjectName(QStringLiteral("dialog%1").arg(m_iNumber));
    m_pWidget->setLayoutDirection(Qt::LeftToRight);  // controls are placed for it, whatever the host's is
    m_pHandle = std::make_unique<CWindowHandle>(*m_pWidget, [this](std::uint32_t message, WPARAM w, LPARAM l) {
        LRESULT answer = 0;
        Call(message == WM_COMMAND ? ETell::User : ETell::Debugger,
             [&] { answer = WindowProc(message, w, l); });
        return answer;
    });
    SetPreTranslator(*m_pWidget, this);
    if (OnCreate() == -1 || !m_pWidget) return false;
    OnCreateControls();
    return m_pWidget != nullptr;
}

bool CDialog::Create(QWidget* parent)
{
    if (!parent || m_pWidget) return false;
    CStartUp startUp(*this);
    if (!Build(parent, Qt::WindowFlags())) return false;
    OnInitDialog();
    startUp.Done();
    if (m_pWidget) m_pWidget->show();
    return m_pWidget != nullptr;
}

int CDialog::DoModal(QWidget* owner)
{
    if (m_pWidget) return -1;
    const CStartUp startUp(*this);  // here the window ends in every case
    if (!Build(owner ? owner->window() : nullptr, Qt::Dialog)) return -1;
    m_pWidget->setWindowModality(Qt::ApplicationModal);
    DecorateDialog(*m_pWidget);
    m_iResult = IDCANCEL;  // when it goes without a word, its owner with it
    QEventLoop loop;
    m_pLoop = &loop;
    const CLoopEnd loopEnd(m_pLoop);
    const bool focus = OnInitDialog();
    if (m_pLoop && m_pWidget) {  // OnInitDialog may have ended it
        m_pWidget->show();
        if (focus) m_pWidget->FocusFirst();
        loop.exec();
    }
    return m_iResult;
}

void CDialog::EndDialog(int result)
{
    ASSERT_THREAD(m_PanelsThread);
    if (!m_pLoop) return;
    m_iResult = result;
    std::exchange(m_pLoop, nullptr)->quit();
}

bool CDialog::DestroyWindow()
{
    ASSERT_THREAD(m_PanelsThread);
    if (!m_pWidget) return false;
    delete m_pWidget.data();
    return true;
}

void CDialog::WindowGoes()
{
    Call(ETell::Debugger, [this] { OnDestroy(); });
    SetPreTranslator(*m_pHandle->Widget(), nullptr);
    m_pHandle.reset();
    m_Controls.clear();
    m_pWidget.clear();
    if (m_pLoop) m_pLoop->quit();
}

void CDialog::MoveWindow(int x, int y, int width, int height)
{
    ASSERT_THREAD(m_PanelsThread);
    if (m_pWidget) m_pWidget->setGeometry(x, y, width, height);
}

void CDialog::Adopt(int id, QWidget* control)
{
    ASSERT_THREAD(m_PanelsThread);
    if (!m_pWidget || !control) return;
    if (!m_pWidget->isAncestorOf(control)) control->setParent(m_pWidget);
    if (!m_Controls.value(id)) m_Controls.insert(id, control);
    // By this name a program that drives the panels from outside finds the control.
    control->setObjectName(QStringLiteral("control%1").arg(id));
    if (auto* button = qobject_cast<QAbstractButton*>(control)) {
        QObject::connect(button, &QAbstractButton::clicked, m_pWidget.data(), [this, id] { Command(id); });
    }
}

bool CDialog::SetDlgItemText(int id, std::string_view text)
{
    ASSERT_THREAD(m_PanelsThread);
    const QString shown = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    if (auto* label = GetDlgItem<QLabel>(id)) {
        label->setText(shown);
    } else if (auto* button = GetDlgItem<QAbstractButton>(id)) {
        button->setText(shown);
    } else if (auto* edit = GetDlgItem<QLineEdit>(id)) {
        edit->setText(shown);
    } else if (auto* combo = GetDlgItem<QComboBox>(id)) {
        combo->setCurrentText(shown);
    } else if (auto* group = GetDlgItem<QGroupBox>(id)) {
        group->setTitle(shown);
    } else {
        return false;
    }
    return true;
}

std::string CDialog::GetDlgItemText(int id) const
{
    if (const auto* label = GetDlgItem<QLabel>(id)) return label->text().toStdString();
    if (const auto* button = GetDlgItem<QAbstractButton>(id)) return button->text().toStdString();
    if (const auto* edit = GetDlgItem<QLineEdit>(id)) return edit->text().toStdString();
    if (const auto* combo = GetDlgItem<QComboBox>(id)) return combo->currentText().toStdString();
    if (const auto* group = GetDlgItem<QGroupBox>(id)) return group->title().toStdString();
    return {};
}

void CDialog::SetWindowText(std::string_view text)
{
    if (m_pWidget)
        m_pWidget->setWindowTitle(QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())));
}

bool CDialog::DialogKey(int key)
{
    const std::uint32_t number = VirtualKey(key);
    if (number == VK_ESCAPE) {
        Command(IDCANCEL);
        return true;
    }
    if (number != VK_RETURN) return false;
    auto* accept = GetDlgItem<QAbstractButton>(IDOK);
    for (const QPointer<QWidget>& control : std::as_const(m_Controls)) {
        auto* button = qobject_cast<QPushButton*>(control.data());
        if (button && button->isDefault()) accept = button;
    }
    if (accept) {
        accept->click();  // nothing when it is disabled
    } else {
        Command(IDOK);
    }
    return true;
}

bool CDialog::OnCommand(int id)
{
    if (id != IDOK && id != IDCANCEL) return false;
    id == IDOK ? OnOK() : OnCancel();
    return true;
}

void CDialog::OnOK()
{
    EndDialog(IDOK);
}

void CDialog::OnCancel()
{
    EndDialog(IDCANCEL);
}

LRESULT CDialog::WindowProc(std::uint32_t message, WPARAM wParam, LPARAM)
{
    constexpr WPARAM ID_BITS = 0xFFFF;
    if (message == WM_COMMAND) OnCommand(static_cast<int>(wParam & ID_BITS));
    if (message == WM_CLOSE) OnClose();
    return 0;
}

EPreTranslate CDialog::PreTranslate(MSG& message)
{
    EPreTranslate result = EPreTranslate::PassOn;
    Call(ETell::Debugger, [&] { result = PreTranslateMessage(message); });
    return result;
}

EPreTranslate CDialog::PreTranslateMessage(MSG& message)
{
    const bool key = message.message >= WM_KEYDOWN && message.message <= WM_UNICHAR;
    return key ? EPreTranslate::Dispatch : EPreTranslate::PassOn;
}
