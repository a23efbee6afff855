#pragma once

#include <QObject>
#include <QPointer>
#include <QWidget>
#include <functional>

#include "platform/windows/windows.h"

// The input of the panels' thread as messages. What is promised of the platform's pump: a hook sees each key
// and mouse button message of the application's widgets before its window does, and what it turns into a null
// message reaches no window; the windows from the target up may take a message before it is dispatched. Left
// out: every other message (they are the toolkit's events), and other threads. All of it on the panels' thread,
// between StartQtPlatform and StopQtPlatform.

inline constexpr std::uint32_t WM_NULL = 0x0;
inline constexpr std::uint32_t WM_CLOSE = 0x10;
inline constexpr std::uint32_t WM_KEYDOWN = 0x100;  // the first of the key messages
inline constexpr std::uint32_t WM_KEYUP = 0x101;
inline constexpr std::uint32_t WM_CHAR = 0x102;
inline constexpr std::uint32_t WM_SYSKEYDOWN = 0x104;
inline constexpr std::uint32_t WM_SYSKEYUP = 0x105;
inline constexpr std::uint32_t WM_SYSCHAR = 0x106;
inline constexpr std::uint32_t WM_UNICHAR = 0x109;  // and the last: a character beyond 16 bits
inline constexpr std::uint32_t WM_LBUTTONDOWN = 0x201;
inline constexpr std::uint32_t WM_LBUTTONUP = 0x202;
inline constexpr std::uint32_t WM_LBUTTONDBLCLK = 0x203;
inline constexpr std::uint32_t WM_RBUTTONDOWN = 0x204;
inline constexpr std::uint32_t WM_RBUTTONUP = 0x205;
inline constexpr std::uint32_t WM_RBUTTONDBLCLK = 0x206;

/// What a window says of a message before it is dispatched.
enum class EPreTranslate {
    PassOn,    // ask my parent
    Dispatch,  // hand it to its target and ask nobody else, not even the host's accelerators
    Handled    // it is done; it reaches no window
};

struct MSG {
    HWND hwnd = HWND::Null;  // nearest window with a handle, from the target upward
    std::uint32_t message = WM_NULL;
    WPARAM wParam = 0;  // of a key its number, of a character its code
    LPARAM lParam = 0;  // of a mouse message the place in the target, x in the low and y in the high 16 bits
    QWidget* target = nullptr;  // stands as long as the hook or window that is asked lets it
    bool walked = false;        // the windows have been asked, and this is what they said
    EPreTranslate said = EPreTranslate::PassOn;
};

class IPreTranslate
{
  public:
    virtual ~IPreTranslate() = default;
    virtual EPreTranslate PreTranslate(MSG& message) = 0;
};

/// Names who is asked for messages of this widget and of what is in it; null ends that, which has to be done
/// before either of the two goes.
void SetPreTranslator(const QWidget& widget, IPreTranslate* translator);

/// Asks from the message's target up to the outermost widget, until one doesn't pass it on.
EPreTranslate WalkPreTranslateTree(MSG& message);

enum class HHOOK : int { Null = 0 };
inline constexpr int HC_ACTION = 0;
inline constexpr WPARAM PM_REMOVE = 1;

/// Sees a message as it leaves the queue, as a WH_GETMESSAGE hook does. It may change the message; a null
/// message is not delivered. `code` is HC_ACTION, `removed` PM_REMOVE. What it returns says nothing.
using HOOKPROC = std::function<LRESULT(int code, WPARAM removed, MSG& message)>;

/// Puts a hook in front of those there are.
HHOOK SetWindowsHookExA(HOOKPROC hook);
bool UnhookWindowsHookEx(HHOOK hook);

/// Called in a hook: hands the message to the hook that was set before it.
LRESULT CallNextHookEx(int code, WPARAM removed, MSG& message);

/// The event filter that makes messages of events. Internal to this folder.
class CMessagePump final : public QObject
{
  public:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    bool IsRepeated(QWidget& receiver, const class QInputEvent& event);
    EPreTranslate KeyEvent(QWidget& target, const class QKeyEvent& event);
    bool MouseEvent(QWidget& target, const class QMouseEvent& event);
    static EPreTranslate Pump(MSG& message);

    // An event that a widget ignores is handed to its parent, which must not make a second message of it. A
    // key's event stays the same object on that way, a mouse event becomes a copy.
    struct {
        const QEvent* event = nullptr;
        int type = 0;
        quint64 time = 0;
        QPointF place;
        QPointer<QWidget> receiver;
    } m_Last;

    // What was said of a key when the toolkit asked whether it is an accelerator, which comes first.
    struct {
        bool valid = false;
        int key = 0;
        Qt::KeyboardModifiers modifiers;
        quint64 time = 0;
        EPreTranslate result = EPreTranslate::PassOn;
    } m_Asked;
};
