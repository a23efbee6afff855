#include "host/ScriptedOperator.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QMouseEvent>
#include <QRegularExpression>
#include <QTreeView>
#include <utility>

namespace
{

// Numbers of the panels' controls and commands.
constexpr int ADDRESS_COMBO = 1447;
constexpr int ACCEPT_BUTTON = 1;
constexpr int DEVICE_TREE = 203;
constexpr int LAYOUT_BUTTON = 6025;
constexpr int SIDE_BAR = 19999;
constexpr int OPEN_COMMAND = 10000;

constexpr int LOOK_MS = 20;
constexpr int STEP_LIMIT_MS = 40000;  // a logon whose servers are silent takes about as long
constexpr int LABEL_INSET = 12;       // from the left edge of a row to well within its label
constexpr int FOLDED_WIDTH = 4;       // of the side bar, of which its edge alone is left
constexpr int OPEN_WIDTH = 200;

void PressKey(QWidget& target, int key, const QString& text = {})
{
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier, text);
    QApplication::sendEvent(&target, &press);
    QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier, text);
    QApplication::sendEvent(&target, &release);
}

void Drag(QWidget& target, const QPoint& from, const QPoint& to)
{
    QMouseEvent press(QEvent::MouseButtonPress, from, target.mapToGlobal(from), Qt::LeftButton, Qt::LeftButton,
                      Qt::NoModifier);
    QApplication::sendEvent(&target, &press);
    QMouseEvent release(QEvent::MouseButtonRelease, to, target.mapToGlobal(to), Qt::LeftButton, Qt::NoButton,
                        Qt::NoModifier);
    QApplication::sendEvent(&target, &release);
}

void Click(QWidget& target, const QPoint& place)
{
    Drag(target, place, place);
}

void DragRightEdge(QWidget& target, int width)
{
    Drag(target, {target.width() - 1, target.height() / 2}, {width - 1, target.height() / 2});
}

}  // namespace

CScriptedOperator::CScriptedOperator(const Options& options, QWidget& panel, QObject* parent)
    : QObject(parent), m_Options(options), m_Panel(panel)
{
    m_Timer.setInterval(LOOK_MS);
    connect(&m_Timer, &QTimer::timeout, this, &CScriptedOperator::Next);
}

template <typename Panel>
Panel* CScriptedOperator::Find(int control) const
{
    return m_Panel.findChild<Panel*>(QStringLiteral("control%1").arg(control));
}

void CScriptedOperator::Start()
{
    if (!m_Options.logon.isEmpty()) {
        PlanUnfolding();
        PlanLogon();
    }
    if (m_Options.openAll || !m_Options.open.isEmpty()) PlanOpening();
    AddStep("fold the side bar", [this] {
        FoldBack();
        return true;
    });
    if (m_Options.layout > 0) PlanLayout();
    if (m_Options.fullScreen)
        AddStep("go into full screen", [this] {
            auto* const wall = m_Panel.findChild<QWidget*>("VideoWall");
            if (wall == nullptr) return false;
            wall->setFocus();
            PressKey(*wall, Qt::Key_Escape);
            return true;
        });
    m_StepTime.start();
    m_Timer.start();
}

// A side bar that its user has folded shows neither the logon nor the device tree.
void CScriptedOperator::PlanUnfolding()
{
    AddStep("unfold the side bar", [this] {
        auto* const bar = Find<QWidget>(SIDE_BAR);
        m_bUnfolded = bar != nullptr && bar->width() <= FOLDED_WIDTH;
        if (m_bUnfolded) DragRightEdge(*bar, OPEN_WIDTH);
        return true;
    });
}

void CScriptedOperator::FoldBack()
{
    auto* const bar = Find<QWidget>(SIDE_BAR);
    if (std::exchange(m_bUnfolded, false) && bar != nullptr) DragRightEdge(*bar, 0);
}

void CScriptedOperator::PlanLogon()
{
    AddStep("type the net id", [this] {
        auto* const address = Find<QComboBox>(ADDRESS_COMBO);
        if (address == nullptr || !address->isVisible()) return false;
        address->lineEdit()->setFocus();
        address->lineEdit()->selectAll();
        for (const QChar letter : m_Options.logon)
            PressKey(*address->lineEdit(), letter.isDigit() ? int{letter.unicode()} : int{Qt::Key_unknown},
                     QString(letter));
        // What the field completed beyond the typed goes.
        if (address->lineEdit()->hasSelectedText()) PressKey(*address->lineEdit(), Qt::Key_Delete);
        // An entry of the history that begins alike has lent its own capitals.
        if (address->lineEdit()->text().compare(m_Options.logon, Qt::CaseInsensitive) == 0)
            address->lineEdit()->setText(m_Options.logon);
        return true;
    });
    AddStep("log on", [this] {
        auto* const accept = Find<QAbstractButton>(ACCEPT_BUTTON);
        if (accept == nullptr || !accept->isVisible() || !accept->isEnabled()) return false;
        Click(*accept, accept->rect().center());  // returns when the logon is through
        return true;
    });
    AddStep("see the station in the device tree", [this] { return FindFolder().isValid(); });
}

QTreeView* CScriptedOperator::FindTree() const
{
    auto* const tree = Find<QTreeView>(DEVICE_TREE);
    return tree != nullptr && tree->isVisible() ? tree : nullptr;
}

// The folder with the channels of the station that the script logged on to.
QModelIndex CScriptedOperator::FindFolder() const
{
    const QTreeView* const tree = FindTree();
    if (tree == nullptr) return {};
    const QAbstractItemModel& nodes = *tree->model();
    const QModelIndexList stations =
        nodes.match(nodes.index(0, 0), Qt::DisplayRole, m_Options.logon, -1, Qt::MatchExactly);
    return stations.isEmpty() ? QModelIndex() : nodes.index(0, 0, stations.constLast());
}

void CScriptedOperator::PlanOpening()
{
    AddStep("find the channels", [this] {
        const QModelIndex folder = FindFolder();
        if (!folder.isValid()) return false;
        const int count = folder.model()->rowCount(folder);
        QList<int> channels = m_Options.open;
        for (int i = 1; m_Options.openAll && i <= count; ++i)
            channels << i;
        // What is planned now comes before what was planned after the opening.
        const QList<Step> later = std::exchange(m_Steps, {});
        for (const int channel : channels) {
            if (channel > count) {
                Finish(QStringLiteral("channel %1 was asked for, the station has %2").arg(channel).arg(count));
                return false;
            }
            PlanOneChannel(channel);
        }
        m_Steps = later.mid(0, 1) + m_Steps + later.mid(1);
        return true;
    });
}

void CScriptedOperator::PlanOneChannel(int channel)
{
    AddStep(QStringLiteral("open the menu of channel %1").arg(channel), [this, channel] {
        QTreeView* const tree = FindTree();
        const QModelIndex folder = FindFolder();
        if (tree == nullptr || !folder.isValid()) return false;
        const QModelIndex item = folder.model()->index(channel - 1, 0, folder);
        tree->scrollTo(item);
        const QRect row = tree->visualRect(item);
        const QPoint place(row.left() + LABEL_INSET, row.center().y());
        QContextMenuEvent event(QContextMenuEvent::Mouse, place, tree->viewport()->mapToGlobal(place));
        QApplication::sendEvent(tree->viewport(), &event);
        return true;
    });
    AddStep(QStringLiteral("open channel %1").arg(channel), [this, channel] {
        if (!ChooseFromMenu([](const QAction& action) { return action.data().toInt() == OPEN_COMMAND; }))
            return false;
        m_Opened << channel;
        return true;
    });
}

void CScriptedOperator::PlanLayout()
{
    AddStep("open the layout menu", [this] {
        auto* const button = Find<QAbstractButton>(LAYOUT_BUTTON);
        if (button == nullptr || !button->isVisible()) return false;
        Click(*button, button->rect().center());
        return true;
    });
    // Entries for arrangements begin with their number of cells, in every language.
    AddStep(QStringLiteral("choose the arrangement of %1").arg(m_Options.layout), [this] {
        if (QApplication::activePopupWidget() == nullptr) return false;
        const QString wanted = QString::number(m_Options.layout);
        if (ChooseFromMenu([&wanted](const QAction& action) {
                const QString& text = action.text();
                return text.startsWith(wanted) &&
                       !text.mid(wanted.size()).left(1).contains(QRegularExpression("\\d"));
            }))
            return true;
        Finish(QStringLiteral("there is no arrangement of %1 cells").arg(wanted));
        return false;
    });
}

bool CScriptedOperator::ChooseFromMenu(const std::function<bool(const QAction&)>& wanted)
{
    auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    if (menu == nullptr) return false;
    for (QAction* action : menu->actions()) {
        if (action->isSeparator() || !wanted(*action)) continue;
        menu->setActiveAction(action);
        Click(*menu, menu->actionGeometry(action).center());
        return true;
    }
    menu->close();
    return false;
}

void CScriptedOperator::Next()
{
    if (auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
        const QString text = box->text();
        Finish(text);
        box->accept();
        return;
    }
    if (m_bInStep) return;  // it serves events while it is at work
    if (m_Steps.isEmpty()) {
        Finish({});
        return;
    }
    m_bInStep = true;
    // Behind the timer's own event: while that is delivered the timer stands still, also in a message box's
    // loop.
    QMetaObject::invokeMethod(this, &CScriptedOperator::RunStep, Qt::QueuedConnection);
}

void CScriptedOperator::RunStep()
{
    const StepWork step =
        m_Steps.isEmpty() ? StepWork() : m_Steps.constFirst().step;  // a copy: a step may plan others
    m_bStepRuns = true;
    const bool done = step && step();
    m_bStepRuns = false;
    m_bInStep = false;
    if (m_Steps.isEmpty()) return;  // the step found a fault and said so
    if (done) {
        m_Steps.removeFirst();
        m_StepTime.restart();
    } else if (m_StepTime.elapsed() > STEP_LIMIT_MS) {
        Finish(QStringLiteral("could not %1").arg(m_Steps.constFirst().what));
    }
}

bool CScriptedOperator::OnMessage(const QString& text)
{
    if (!m_Timer.isActive() || !m_bStepRuns) return false;
    QMetaObject::invokeMethod(
        this, [this, text] { Finish(text); }, Qt::QueuedConnection);
    return true;
}

void CScriptedOperator::Finish(const QString& fault)
{
    if (!m_Timer.isActive()) return;
    m_Timer.stop();
    m_Steps.clear();
    FoldBack();
    emit Finished(fault);
}
