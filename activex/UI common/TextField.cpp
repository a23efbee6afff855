#include "activex/UI common/TextField.h"

#include <QAction>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QDropEvent>
#include <QGuiApplication>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
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

// As a field of one line takes it.
QString FirstLineOf(const QString& text)
{
    static const QRegularExpression BREAK(QStringLiteral("[\r\n]"));
    return text.section(BREAK, 0, 0);
}

class CTextFieldFilter final : public QObject
{
  public:
    explicit CTextFieldFilter(QLineEdit& edit) : QObject(&edit), m_Edit(edit) {}

    bool eventFilter(QObject* target, QEvent* event) override
    {
        switch (event->type()) {
            case QEvent::InputMethod:
                m_bComposes = !static_cast<QInputMethodEvent*>(event)->preeditString().isEmpty();
                return false;
            case QEvent::ContextMenu:
                // While text is composed the field itself opens no menu.
                if (m_bComposes || !m_Edit.isEnabled()) return false;
                OpenMenu(static_cast<QContextMenuEvent*>(event)->globalPos());
                return true;
            case QEvent::KeyPress:
                return target == &m_Edit && PasteByKey(*static_cast<QKeyEvent*>(event));
            case QEvent::MouseButtonRelease:
                if (target != &m_Edit || !m_Edit.isEnabled() ||
                    static_cast<QMouseEvent*>(event)->button() != Qt::MiddleButton)
                    return false;
                m_Edit.deselect();
                Paste(QClipboard::Selection);
                return true;
            case QEvent::Drop:
                return target == &m_Edit && Drop(*static_cast<QDropEvent*>(event));
            default:
                return false;
        }
    }

  private:
    void OpenMenu(const QPoint& place)
    {
        QMenu* const menu = m_Edit.createStandardContextMenu();
        std::size_t entry = 0;
        for (QAction* action : menu->actions()) {
            if (action->isSeparator() || entry == std::size(KEYS)) continue;
            if (entry == PASTE) {
                QObject::disconnect(action, nullptr, &m_Edit, nullptr);
                QObject::connect(action, &QAction::triggered, this, [this] { Paste(QClipboard::Clipboard); });
            }
            const QString text = QString::fromStdString(FindText(KEYS[entry++]));
            const QString shortcut = action->text().section(QLatin1Char('\t'), 1);
            if (!text.isEmpty())
                action->setText(shortcut.isEmpty() ? text : text + QLatin1Char('\t') + shortcut);
        }
        menu->setLayoutDirection(Qt::LeftToRight);  // as the dialogs are
        menu->setAttribute(Qt::WA_DeleteOnClose);
        SkinPopupMenu(menu);
        menu->popup(place);
    }
    bool PasteByKey(const QKeyEvent& event)
    {
        if (!event.matches(QKeySequence::Paste)) return false;
        const bool selected = event.modifiers() == (Qt::ControlModifier | Qt::ShiftModifier);
        Paste(selected && event.key() == Qt::Key_Insert ? QClipboard::Selection : QClipboard::Clipboard);
        return true;
    }
    void Paste(QClipboard::Mode mode)
    {
        EndUndoStep();
        m_Edit.insert(FirstLineOf(QGuiApplication::clipboard()->text(mode)));
        EndUndoStep();
    }
    // By a caret that goes away and comes back. What is selected begins a step anyhow.
    void EndUndoStep()
    {
        if (m_bComposes || m_Edit.hasSelectedText()) return;
        const int caret = m_Edit.cursorPosition();
        m_Edit.setCursorPosition(caret == 0 ? 1 : 0);
        m_Edit.setCursorPosition(caret);
    }
    // The field's own, with another text.
    bool Drop(QDropEvent& event)
    {
        if (m_bDrops || !event.mimeData()->hasText()) return false;
        QMimeData line;
        line.setText(FirstLineOf(event.mimeData()->text()));
        QDropEvent own(event.position(), event.possibleActions(), &line, event.buttons(), event.modifiers());
        own.setDropAction(event.dropAction());
        m_bDrops = true;
        QCoreApplication::sendEvent(&m_Edit, &own);
        m_bDrops = false;
        event.setDropAction(own.dropAction());
        event.setAccepted(own.isAccepted());
        return true;
    }

    QLineEdit& m_Edit;
    bool m_bComposes = false;
    bool m_bDrops = false;
};

}  // namespace

void SetUpTextField(QLineEdit& edit)
{
    ASSERT_PANELS_THREAD();
    auto* const filter = new CTextFieldFilter(edit);
    edit.installEventFilter(filter);
    // A combo box has the keyboard for its field and hands it events past the field's filters.
    if (QWidget* const box = edit.focusProxy()) box->installEventFilter(filter);
}
