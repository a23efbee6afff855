#include "activex/UI common/TextField.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QInputMethodEvent>
#include <QLineEdit>
#include <QMenu>
#include <QRegularExpression>
#include <algorithm>

#include "activex/UI common/BoxTexts.h"
#include "platform/qt/PanelsThread.h"
#include "skin/Skin.h"

namespace
{

// In the order of the toolkit's menu.
constexpr const char* KEYS[] = {"IDS_Edit_Undo",  "IDS_Edit_Redo",   "IDS_Edit_Cut",      "IDS_Edit_Copy",
                                "IDS_Edit_Paste", "IDS_Edit_Delete", "IDS_Edit_SelectAll"};

void SetTexts(const QMenu& menu)
{
    const auto* key = std::begin(KEYS);
    for (QAction* action : menu.actions()) {
        if (action->isSeparator() || key == std::end(KEYS)) continue;
        const QString text = QString::fromStdString(FindText(*key++));
        const QString shortcut = action->text().section(QLatin1Char('\t'), 1);
        if (!text.isEmpty()) action->setText(shortcut.isEmpty() ? text : text + QLatin1Char('\t') + shortcut);
    }
}

class CEditMenuFilter final : public QObject
{
  public:
    explicit CEditMenuFilter(QLineEdit& edit) : QObject(&edit), m_Edit(edit) {}

    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::InputMethod)
            m_bComposes = !static_cast<QInputMethodEvent*>(event)->preeditString().isEmpty();
        // While text is composed the field itself opens no menu.
        if (event->type() != QEvent::ContextMenu || m_bComposes) return false;
        QMenu* const menu = m_Edit.createStandardContextMenu();
        SetTexts(*menu);
        menu->setLayoutDirection(Qt::LeftToRight);  // as the dialogs are
        menu->setAttribute(Qt::WA_DeleteOnClose);
        SkinPopupMenu(menu);
        menu->popup(static_cast<QContextMenuEvent*>(event)->globalPos());
        return true;
    }

  private:
    QLineEdit& m_Edit;
    bool m_bComposes = false;
};

// The break is in what was put in last, behind which the caret stands.
void KeepOneLine(QLineEdit& edit)
{
    static const QRegularExpression BREAK(QStringLiteral("[\r\n]"));
    QString text = edit.text();
    const qsizetype at = text.indexOf(BREAK);
    if (at < 0) return;
    const qsizetype end = std::max<qsizetype>(edit.cursorPosition(), text.lastIndexOf(BREAK) + 1);
    edit.setText(text.remove(at, end - at));
    edit.setCursorPosition(static_cast<int>(at));
}

}  // namespace

void SetUpTextField(QLineEdit& edit)
{
    ASSERT_PANELS_THREAD();
    auto* const filter = new CEditMenuFilter(edit);
    edit.installEventFilter(filter);
    // A combo box has the keyboard for its field and hands it events past the field's filters.
    if (QWidget* const box = edit.focusProxy()) box->installEventFilter(filter);
    QObject::connect(&edit, &QLineEdit::textEdited, &edit, [&edit] { KeepOneLine(edit); });
}
