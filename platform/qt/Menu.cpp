#include "platform/qt/Menu.h"

#include <QAction>
#include <QMenu>
#include <utility>

#include "platform/qt/PanelsThread.h"
#include "platform/qt/WindowHandle.h"

CMenu::CMenu() : m_pMenu(new QMenu)
{
    m_pMenu->setLayoutDirection(Qt::LeftToRight);  // as the dialogs are
}

CMenu::~CMenu()
{
    delete m_pMenu;
}

void CMenu::AppendItem(int id, std::string_view text)
{
    ASSERT_PANELS_THREAD();
    if (!m_pMenu) return;
    // What a text holds is shown as it stands: it marks no accelerator.
    QString shown = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    shown.replace(QLatin1Char('&'), QLatin1String("&&"));
    m_pMenu->addAction(shown)->setData(id);
}

void CMenu::AppendSeparator()
{
    ASSERT_PANELS_THREAD();
    if (m_pMenu) m_pMenu->addSeparator();
}

void CMenu::Track(HWND owner, const QPoint& place)
{
    ASSERT_PANELS_THREAD();
    if (!m_pMenu) return;
    QMenu* menu = std::exchange(m_pMenu, nullptr);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    QObject::connect(menu, &QMenu::triggered, menu, [owner](const QAction* action) {
        PostMessageA(owner, WM_COMMAND, static_cast<WPARAM>(action->data().toInt()), 0);
    });
    if (const QWidget* const widget = WidgetOf(owner))
        QObject::connect(widget, &QObject::destroyed, menu, &QWidget::close);
    menu->popup(place);
}
