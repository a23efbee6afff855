#pragma once

#include <string_view>

#include "platform/windows/windows.h"

class QMenu;
class QPoint;

/// A popup menu of entries with command numbers. Panels' thread only.
class CMenu
{
  public:
    CMenu();
    ~CMenu();
    CMenu(const CMenu&) = delete;
    CMenu& operator=(const CMenu&) = delete;

    void AppendItem(int id, std::string_view text);  // UTF-8
    void AppendSeparator();

    /// For the skin. Belongs to this object until Track.
    QMenu* Widget() const { return m_pMenu; }

    /// Shows the menu at `place` on the screen and returns; a chosen entry is posted to `owner` as WM_COMMAND.
    /// The menu closes when `owner` goes and destroys itself when it closes, and this object is empty
    /// afterwards.
    void Track(HWND owner, const QPoint& place);

  private:
    QMenu* m_pMenu;
};
