#pragma once

#include <QIcon>
#include <QRect>
#include <QString>
#include <cstdint>
#include <memory>
#include <vector>

class QWidget;

/// What a line of the side bar does.
enum class ELineStyle {
    Command,      // icon and text; asks its owner for its state before it fires
    Check,        // a check box; likewise
    Fire,         // fires without asking
    FireUpdated,  // fires without asking, and takes part in the idle update
};

/// Bits of a line's state word.
inline constexpr std::uint32_t OL2_STATE_ENABLED = 1;
inline constexpr std::uint32_t OL2_STATE_ON = 2;
inline constexpr std::uint32_t OL2_STATE_RADIO = 4;

/// A line of a folder: a command, or a child window that is embedded.
struct COL2SubItem {
    QString m_strText;
    QIcon m_Icon;
    ELineStyle m_Style = ELineStyle::Command;
    QRect m_Rect;  // of the last paint; empty when it was not drawn
    std::uint32_t m_dwCommand = 0;
    QWidget* m_pChild = nullptr;       // a child of the bar, which deletes it
    std::int32_t m_iChildHeight = -1;  // -1: all that is left
    std::uint32_t m_dwState = 0;       // of the last update round

    bool IsUpdated() const { return m_Style != ELineStyle::Fire; }
};

/// A header with lines beneath it; without a name it is a separator.
struct COL2Item {
    QString m_strName;
    QRect m_Rect;
    std::vector<std::unique_ptr<COL2SubItem>> m_SubItems;
};

/// A button of the stack with its page.
struct COL2Folder {
    QString m_strName;
    QIcon m_Icon;
    QRect m_Rect;  // of the button
    std::vector<std::unique_ptr<COL2Item>> m_Items;
};

/// What the owner is asked with for a line's state: it calls what applies.
class COL2CCmdUI
{
  public:
    explicit COL2CCmdUI(COL2SubItem& line) : m_dwCommand(line.m_dwCommand), m_Line(line) {}

    /// Sets bit 1 whatever `on` says. oddity: enable-enables-always
    void Enable(bool on);
    /// Sets bit 2 when `check` is not 0.
    void SetCheck(std::int32_t check);
    /// Sets bit 4 when `on`.
    void SetRadio(bool on);
    /// Replaces the line's text.
    void SetText(const QString& text);

    const std::uint32_t m_dwCommand;
    std::uint32_t m_dwState = 0;

  private:
    COL2SubItem& m_Line;
};
