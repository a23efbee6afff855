#pragma once

#include <QImage>
#include <QPoint>
#include <QRect>
#include <QString>
#include <memory>
#include <string>

#include "tests/support/x_server.h"

/// A virtual X display of one test's own, so that nothing else covers its windows or takes its keyboard.
class CVirtualDisplay : public CXServer
{
  public:
    /// Has programs that this process starts later, and its own application object, use the display.
    void Enter() const;
};

/// A hand at the mouse and the keyboard of a display and an eye on its screen, over a connection of its own:
/// what it does comes to programs as the X server's own events. Places are screen pixels.
class CScreen
{
  public:
    enum class EButton { Left = 1, Right = 3 };

    explicit CScreen(const std::string& display);
    ~CScreen();
    CScreen(const CScreen&) = delete;
    CScreen& operator=(const CScreen&) = delete;

    void MoveTo(const QPoint& place);
    void Click(const QPoint& place, EButton button = EButton::Left);
    void DoubleClick(const QPoint& place);
    /// The left button goes down at `from`; Release lets it up at `to`.
    void Press(const QPoint& from);
    void Release(const QPoint& to);
    /// Presses and releases the key of that X keysym (XK_Return is 0xFF0D; a letter or digit is its code).
    void Key(std::uint32_t keysym);
    /// Letters, digits and what else the keyboard has a key for.
    void Type(const std::string& text);

    /// What is on the screen there, by any program.
    QImage Grab(const QRect& area) const;
    QImage Grab() const { return Grab({0, 0, CVirtualDisplay::WIDTH, CVirtualDisplay::HEIGHT}); }

  private:
    struct State;
    void Fake(int type, int detail, const QPoint& place = {}) const;

    std::unique_ptr<State> m_pState;
};

// Keysyms that tests press.
inline constexpr std::uint32_t KEY_BACKSPACE = 0xFF08;
inline constexpr std::uint32_t KEY_RETURN = 0xFF0D;
inline constexpr std::uint32_t KEY_ESCAPE = 0xFF1B;
inline constexpr std::uint32_t KEY_TAB = 0xFF09;
inline constexpr std::uint32_t KEY_LEFT = 0xFF51;
inline constexpr std::uint32_t KEY_UP = 0xFF52;
inline constexpr std::uint32_t KEY_RIGHT = 0xFF53;
inline constexpr std::uint32_t KEY_DOWN = 0xFF54;
inline constexpr std::uint32_t KEY_F2 = 0xFFBF;
inline constexpr std::uint32_t KEY_MENU = 0xFF67;
