#pragma once

#include <QClipboard>
#include <QLineEdit>

/// A field of one line: of what is pasted or dropped it takes what stands before a line break. Its menu (undo,
/// cut, copy, paste, ...) has texts in the current language in place of the toolkit's. Panels' thread only.
class CTextField : public QLineEdit
{
  public:
    using QLineEdit::QLineEdit;

  protected:
    void contextMenuEvent(QContextMenuEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void inputMethodEvent(QInputMethodEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

  private:
    bool PasteLines(QClipboard::Mode mode);
    void EndUndoStep();

    bool m_bComposes = false;
};
