#include "activex/UI common/TextField.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QDropEvent>
#include <QGuiApplication>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QMimeData>
#include <QMouseEvent>
#include <QRegularExpression>
#include <iterator>

#include "activex/UI common/BoxTexts.h"
#include "platform/qt/PanelsThread.h"
#include "skin/Skin.h"

namespace
{

// In the order of the toolkit's menu.
constexpr const char* KEYS[] = {"IDS_Edit_Undo",  "IDS_Edit_Redo",   "IDS_Edit_Cut",      "IDS_Edit_Copy",
                                "IDS_Edit_Paste", "IDS_Edit_Delete", "IDS_Edit_SelectAll"};

constexpr std::size_t PASTE = 4;

const QRegularExpression& LineBreak()
{
    static const QRegularExpression BREAK(QStringLiteral("[\r\n]"));
    return BREAK;
}

}  // namespace

void CTextField::contextMenuEvent(QContextMenuEvent* event)
{
    ASSERT_PANELS_THREAD();
    QMenu* const menu = createStandardContextMenu();
    std::size_t entry = 0;
    for (QAction* action : menu->actions()) {
        if (action->isSeparator() || entry == std::size(KEYS)) continue;
        if (entry == PASTE) {
            QObject::disconnect(action, nullptr, this, nullptr);
            QObject::connect(action, &QAction::triggered, this, [this] {
                if (!PasteLines(QClipboard::Clipboard)) paste();
            });
        }
        const QString text = QString::fromStdString(FindText(KEYS[entry++]));
        const QString shortcut = action->text().section(QLatin1Char('\t'), 1);
        if (!text.isEmpty()) action->setText(shortcut.isEmpty() ? text : text + QLatin1Char('\t') + shortcut);
    }
    menu->setLayoutDirection(Qt::LeftToRight);  // as the dialogs are
    menu->setAttribute(Qt::WA_DeleteOnClose);
    SkinPopupMenu(menu);
    menu->popup(event->globalPos());
}

// The toolkit's own, with another text.
void CTextField::dropEvent(QDropEvent* event)
{
    if (!event->mimeData()->hasText()) return QLineEdit::dropEvent(event);
    QMimeData line;
    line.setText(event->mimeData()->text().section(LineBreak(), 0, 0));
    QDropEvent own(event->position(), event->possibleActions(), &line, event->buttons(), event->modifiers());
    own.setDropAction(event->dropAction());
    QLineEdit::dropEvent(&own);
    event->setDropAction(own.dropAction());
    event->setAccepted(own.isAccepted());
}

void CTextField::inputMethodEvent(QInputMethodEvent* event)
{
    QLineEdit::inputMethodEvent(event);
    m_bComposes = !event->preeditString().isEmpty();
}

void CTextField::keyPressEvent(QKeyEvent* event)
{
    const bool selected = event->modifiers() == (Qt::ControlModifier | Qt::ShiftModifier);
    const bool insert = event->key() == Qt::Key_Insert;
    if (!event->matches(QKeySequence::Paste) ||
        !PasteLines(selected && insert ? QClipboard::Selection : QClipboard::Clipboard))
        QLineEdit::keyPressEvent(event);
}

void CTextField::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::MiddleButton && !isReadOnly()) {
        deselect();
        if (PasteLines(QClipboard::Selection)) return;
    }
    QLineEdit::mouseReleaseEvent(event);
}

// Nothing where the toolkit pastes the same.
bool CTextField::PasteLines(QClipboard::Mode mode)
{
    const QString text = QGuiApplication::clipboard()->text(mode);
    const qsizetype end = text.indexOf(LineBreak());
    if (end < 0 || isReadOnly()) return false;
    EndUndoStep();
    insert(text.left(end));
    EndUndoStep();
    return true;
}

// By a caret that goes away and comes back, which would end what is composed. What is selected begins a step
// anyhow; in an empty field, what emptied it stays in the step.
void CTextField::EndUndoStep()
{
    if (m_bComposes || hasSelectedText()) return;
    const int caret = cursorPosition();
    setCursorPosition(caret == 0 ? 1 : 0);
    setCursorPosition(caret);
}
