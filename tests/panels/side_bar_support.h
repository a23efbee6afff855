#pragma once

#include <gmock/gmock.h>

#include <QApplication>
#include <QMouseEvent>
#include <QTemporaryDir>
#include <QTest>
#include <optional>

#include "activex/UI common/Outlook2Ctrl.h"
#include "tests/support/test_variable.h"

/// A side bar whose commands are kept, with a profile of its own.
class SideBarTest : public testing::Test
{
  protected:
    SideBarTest()
    {
        m_hOwner = RegisterWindow([this](std::uint32_t message, WPARAM wParam, LPARAM) {
            if (message == WM_COMMAND) m_Commands.push_back(static_cast<int>(wParam));
            return LRESULT{0};
        });
    }
    ~SideBarTest() override
    {
        m_Bar.reset();
        UnregisterWindow(m_hOwner);
    }

    COutlook2Ctrl& Show(int width = 200, int height = 400)
    {
        m_Bar.emplace(nullptr, m_hOwner);
        m_Bar->resize(width, height);
        m_Bar->show();
        return *m_Bar;
    }
    void ShowWithFocus()
    {
        Show();
        m_Bar->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&*m_Bar));
        m_Bar->setFocus();
        ASSERT_TRUE(m_Bar->hasFocus());
    }
    void Paint() { m_Bar->grab(); }
    /// Of the left button, past the event loop, which would ask for the lines' states by itself.
    void Press(const QPoint& place)
    {
        QMouseEvent press(QEvent::MouseButtonPress, place, m_Bar->mapToGlobal(place), Qt::LeftButton,
                          Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&*m_Bar, &press);
    }
    QPoint Middle(const QRect& rect) const { return rect.center(); }
    const COL2SubItem& Line(int folder, int item, int line) const
    {
        return *m_Bar->GetFolder(folder)
                    .m_Items.at(static_cast<std::size_t>(item))
                    ->m_SubItems.at(static_cast<std::size_t>(line));
    }

    QTemporaryDir m_Directory;
    const CTestVariable m_ConfigHome{"XDG_CONFIG_HOME", m_Directory.path().toUtf8().constData()};
    HWND m_hOwner;
    std::vector<int> m_Commands;
    std::optional<COutlook2Ctrl> m_Bar;
};
