#include "platform/qt/WindowBackend.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QPointer>
#include <QScopeGuard>
#include <QThread>
#include <QWidget>
#include <memory>
#include <string>

#include "platform/qt/MessageBoxes.h"
#include "platform/qt/QtPlatform.h"
#include "platform/qt/ServingWait.h"
#include "platform/qt/WindowHandle.h"
#include "platform/windows/answering.h"

namespace
{
constexpr std::uint32_t MESSAGE_CALL = 0x401;  // lParam: the work to run

constexpr std::uint32_t BUTTON_BITS = 0xF;
constexpr std::uint32_t ICON_BITS = 0xF0;

QMessageBox::StandardButtons ButtonsOf(std::uint32_t type)
{
    switch (type & BUTTON_BITS) {
        case MB_OKCANCEL:
            return QMessageBox::Ok | QMessageBox::Cancel;
        case MB_YESNO:
            return QMessageBox::Yes | QMessageBox::No;
        default:
            return QMessageBox::Ok;
    }
}

QMessageBox::Icon IconOf(std::uint32_t type)
{
    switch (type & ICON_BITS) {
        case MB_ICONERROR:
            return QMessageBox::Critical;
        case MB_ICONQUESTION:
            return QMessageBox::Question;
        case MB_ICONWARNING:
            return QMessageBox::Warning;
        case MB_ICONINFORMATION:
            return QMessageBox::Information;
        default:
            return QMessageBox::NoIcon;
    }
}

std::int32_t AnswerOf(int button)
{
    switch (button) {
        case QMessageBox::Cancel:
            return IDCANCEL;
        case QMessageBox::Yes:
            return IDYES;
        case QMessageBox::No:
            return IDNO;
        default:
            return IDOK;
    }
}

QString FromUtf8(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

// The window that it stands over may go meanwhile and takes it along.
QMessageBox* MakeBox(HWND owner, std::string_view text, std::string_view caption, std::uint32_t type)
{
    QWidget* widget = WidgetOf(owner);
    auto* const box = new QMessageBox(IconOf(type), FromUtf8(caption), FromUtf8(text), ButtonsOf(type),
                                      widget ? widget->window() : QApplication::activeWindow());
    if (widget) QObject::connect(widget, &QObject::destroyed, box, &QDialog::reject);
    box->setLayoutDirection(Qt::LeftToRight);  // as the dialogs are
    box->setTextFormat(Qt::PlainText);
    for (QAbstractButton* button : box->buttons()) {
        const std::string shown = GetButtonText(AnswerOf(box->standardButton(button)));
        if (!shown.empty()) button->setText(FromUtf8(shown));
    }
    DecorateDialog(*box);
    return box;
}

int RunBox(QMessageBox* box)
{
    const QPointer<QMessageBox> alive(box);
    const QScopeGuard end([&alive] { delete alive; });
    const CServingWait::CServedBox served(*box);
    return box->exec();
}

// The box is its own from here on.
void ShowBox(QMessageBox& box)
{
    box.setAttribute(Qt::WA_DeleteOnClose);
    box.setModal(true);
    const auto standing = std::make_shared<CStandingBox>([&box] { box.reject(); });
    QObject::connect(&box, &QObject::destroyed, [standing] {});  // lives as long as the box
    box.show();
}

// The thread may get its answer while the box stands, and what it has asked with is gone then.
LRESULT RunForeignBox(QMessageBox* box)
{
    const CStandingBox standing([answer = AnswerOfServed(), alive = QPointer<QMessageBox>(box)] {
        answer(IDOK);
        if (alive) alive->reject();
    });
    return AnswerOf(RunBox(box));
}

// Whoever is told may end the control, and waits for the thread then: it has its answer first, and is gone with
// what it has asked with.
void TellForeign(HWND owner, std::string_view text, std::string_view caption, std::uint32_t type)
{
    const std::string message(text);
    const std::string title(caption);
    AnswerOfServed()(IDOK);
    if (CUnwaitedMessageBoxes::IsAny() && !CNoMessageBoxes::IsAny()) {
        QMetaObject::invokeMethod(
            qApp, [owner, message, title, type] { MessageBoxA(owner, message, title, type); },
            Qt::QueuedConnection);
    } else {
        TellMessage(message, title);
    }
}
}  // namespace

void CWindowBackend::Start()
{
    m_PanelsThread = std::this_thread::get_id();
    m_hCrossing = RegisterWindow([](std::uint32_t message, WPARAM, LPARAM lParam) -> LRESULT {
        if (message != MESSAGE_CALL) return 0;
        // NOLINTNEXTLINE(performance-no-int-to-ptr): a message carries a pointer as a number
        return (*reinterpret_cast<const std::function<LRESULT()>*>(lParam))();
    });
}

void CWindowBackend::Stop()
{
    UnregisterWindow(m_hCrossing.exchange(HWND::Null));
}

LRESULT CWindowBackend::OnPanelsThread(const std::function<LRESULT()>& work) const
{
    // From the panels' thread itself this is a plain call.
    return SendMessageA(m_hCrossing, MESSAGE_CALL, 0, reinterpret_cast<LPARAM>(&work));
}

bool CWindowBackend::SetWindowPos(HWND window, const RECT& rect)
{
    return OnPanelsThread([window, &rect]() -> LRESULT {
        QWidget* widget = WidgetOf(window);
        if (!widget) return 0;
        widget->setGeometry(rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top);
        return 1;
    });
}

std::int32_t CWindowBackend::MessageBoxA(HWND owner, std::string_view text, std::string_view caption,
                                         std::uint32_t type)
{
    const bool foreign = std::this_thread::get_id() != m_PanelsThread.load();
    const LRESULT answer = OnPanelsThread([owner, text, caption, type, foreign]() -> LRESULT {
        if (foreign && AreMessagesTold()) {
            TellForeign(owner, text, caption, type);
            return IDOK;
        }
        if (TellMessage(text, caption)) return IDOK;
        QMessageBox* const box = MakeBox(owner, text, caption, type);
        if (!foreign) return AnswerOf(RunBox(box));
        if (CUnwaitedMessageBoxes::IsAny() && (type & BUTTON_BITS) == MB_OK) {
            ShowBox(*box);
            return IDOK;
        }
        return RunForeignBox(box);
    });
    return answer ? static_cast<std::int32_t>(answer) : IDOK;
}

void CWindowBackend::ServeUntil(const std::function<bool()>& ended)
{
    if (QThread::currentThread() != qApp->thread()) return;
    // The host may take its last control down meanwhile, and what wakes this thread must not go with it.
    if (!StartQtPlatform()) return;
    {
        CServingWait wait;
        wait.Run(ended);
    }
    ServePostedMessages();
    StopQtPlatform();
}
