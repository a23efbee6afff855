#include "platform/qt/QtPlatform.h"

#include <QApplication>
#include <QEvent>
#include <QThread>
#include <atomic>
#include <utility>

#include "platform/qt/MessagePump.h"
#include "platform/qt/PanelsThread.h"
#include "platform/qt/ProcessEnd.h"
#include "platform/qt/ServingWait.h"
#include "platform/qt/WindowBackend.h"

namespace
{
/// Serves the thread's messages when one has come; woken from foreign threads.
class CWaker final : public QObject
{
  public:
    CWaker()
    {
        SetMessageWake([this] { Wake(); });
    }
    ~CWaker() override { SetMessageWake({}); }
    CWaker(const CWaker&) = delete;
    CWaker& operator=(const CWaker&) = delete;

    void Wake()
    {
        if (!m_bPending.exchange(true)) QCoreApplication::postEvent(this, new QEvent(QEvent::User));
    }

    bool event(QEvent* event) override
    {
        if (event->type() != QEvent::User) return QObject::event(event);
        m_bPending = false;  // before serving: a message that comes meanwhile posts again
        ServeMessages(!CServingWait::IsRunning());
        return true;
    }

  private:
    std::atomic<bool> m_bPending = false;
};

struct QtPlatform {
    CWaker waker;
    CMessagePump pump;
    IWindowBackend* former = nullptr;
};

// panels' thread only
int g_iStarts = 0;
QtPlatform* g_pPlatform = nullptr;  // owned; a process that ends without a stop leaves it

CWindowBackend& Backend()
{
    static auto* const backend = new CWindowBackend;
    return *backend;
}

std::function<void(QWidget&)>& Decorator()
{
    static auto* const decorator = new std::function<void(QWidget&)>;
    return *decorator;
}

std::function<std::string(std::int32_t)>& ButtonTexts()
{
    static auto* const texts = new std::function<std::string(std::int32_t)>;
    return *texts;
}
}  // namespace

bool StartQtPlatform()
{
    if (!qobject_cast<QApplication*>(QCoreApplication::instance())) return false;
    if (QThread::currentThread() != qApp->thread()) return false;
    if (g_iStarts++ > 0) return true;
    WatchProcessEnd();
    g_pPlatform = new QtPlatform;
    Backend().Start();
    g_pPlatform->former = SetWindowBackend(&Backend());
    qApp->installEventFilter(&g_pPlatform->pump);
    return true;
}

void StopQtPlatform()
{
    ASSERT_PANELS_THREAD();
    if (g_iStarts == 0 || --g_iStarts > 0) return;
    SetWindowBackend(g_pPlatform->former);
    Backend().Stop();
    delete std::exchange(g_pPlatform, nullptr);
}

void ServePostedMessages()
{
    if (g_pPlatform) g_pPlatform->waker.Wake();
}

void SetDialogDecorator(std::function<void(QWidget&)> decorator)
{
    ASSERT_PANELS_THREAD();
    Decorator() = std::move(decorator);
}

void DecorateDialog(QWidget& dialog)
{
    ASSERT_PANELS_THREAD();
    if (Decorator()) Decorator()(dialog);
}

void SetButtonTexts(std::function<std::string(std::int32_t id)> texts)
{
    ASSERT_PANELS_THREAD();
    ButtonTexts() = std::move(texts);
}

std::string GetButtonText(std::int32_t id)
{
    ASSERT_PANELS_THREAD();
    return ButtonTexts() ? ButtonTexts()(id) : std::string();
}
