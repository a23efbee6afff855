#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

// Windows as handles and messages. The registry of handles and the crossing between threads stand here and know
// no toolkit; what a window looks like is the business of the backend, which platform/qt installs.

/// A window's handle. It may be kept and used from any thread at any time: a handle is never reused, and every
/// operation on a window that is gone answers 0, false or nothing.
enum class HWND : std::int32_t { Null = 0 };

using WPARAM = std::uintptr_t;
using LPARAM = std::intptr_t;
using LRESULT = std::intptr_t;

struct RECT {
    std::int32_t left = 0;
    std::int32_t top = 0;
    std::int32_t right = 0;
    std::int32_t bottom = 0;
    friend bool operator==(const RECT&, const RECT&) = default;
};

/// Answers one message; called on the thread that owns the window only.
using WNDPROC = std::function<LRESULT(std::uint32_t message, WPARAM wParam, LPARAM lParam)>;

/// Registers a window of the calling thread and gives it a handle. `native` is whatever the backend needs to
/// find its widget again; a window without one only receives messages.
HWND RegisterWindow(WNDPROC procedure, void* native = nullptr);

/// Takes the window out of the registry, on its own thread. Messages under way are answered with 0.
void UnregisterWindow(HWND window);

/// The `native` of RegisterWindow, or null. Panels' thread only: the object may go away on its own thread.
void* GetNativeWindow(HWND window);

/// Delivers the message and returns the window's answer. From the owner's thread it is a plain call. From a
/// foreign thread it blocks until the owner has handled it, which the owner does in its event loop and in every
/// wait of threads.h but Sleep; while it blocks, the caller itself serves messages sent to it. 0 when the
/// window is gone or goes.
LRESULT SendMessageA(HWND window, std::uint32_t message, WPARAM wParam, LPARAM lParam);

/// Queues the message for the owner's event loop; false when the window is gone.
bool PostMessageA(HWND window, std::uint32_t message, WPARAM wParam, LPARAM lParam);

/// Serves the messages sent to the calling thread and, when `posted`, those posted too. Returns how many. The
/// event loop calls it; a test without an event loop may.
int ServeMessages(bool posted);

/// Sets what wakes the calling thread's event loop when a message arrives for it (nothing takes it away; the
/// former one is called no more when this returns). Called on whatever thread sends or posts, so it must only
/// wake and call nothing of this header.
void SetMessageWake(std::function<void()> wake);

inline constexpr std::uint32_t WM_COMMAND = 0x111;

inline constexpr std::uint32_t MB_OK = 0x0;
inline constexpr std::uint32_t MB_OKCANCEL = 0x1;
inline constexpr std::uint32_t MB_YESNO = 0x4;
inline constexpr std::uint32_t MB_ICONERROR = 0x10;
inline constexpr std::uint32_t MB_ICONQUESTION = 0x20;
inline constexpr std::uint32_t MB_ICONWARNING = 0x30;
inline constexpr std::uint32_t MB_ICONINFORMATION = 0x40;
inline constexpr std::int32_t IDOK = 1;
inline constexpr std::int32_t IDCANCEL = 2;
inline constexpr std::int32_t IDYES = 6;
inline constexpr std::int32_t IDNO = 7;

/// What the toolkit gives. Every call may come from any thread; the backend crosses to the panels' thread
/// itself.
class IWindowBackend
{
  public:
    virtual ~IWindowBackend() = default;
    virtual bool SetWindowPos(HWND window, const RECT& rect) = 0;
    virtual std::int32_t MessageBoxA(HWND owner, std::string_view text, std::string_view caption,
                                     std::uint32_t type) = 0;
    /// The toolkit's part of RunServing (serving.h): returns when `ended()` holds, which is asked each time the
    /// calling thread is woken; at once when there is nothing to serve, as on a thread that isn't the
    /// toolkit's.
    virtual void ServeUntil(const std::function<bool()>& /*ended*/) {}
};

/// Installs the backend (null takes it away); returns the former one. It must outlive its use.
IWindowBackend* SetWindowBackend(IWindowBackend* backend);

/// These go to the backend. Without one they answer false or 0; a message box without one writes its text to
/// the debugger output and answers IDOK.
bool SetWindowPos(HWND window, const RECT& rect);
std::int32_t MessageBoxA(HWND owner, std::string_view text, std::string_view caption, std::uint32_t type);
