#include "activex/UI common/TextField.h"

#include <gmock/gmock.h>

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QInputMethodEvent>
#include <QIntValidator>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QPointer>
#include <QTest>

#include "activex/UI common/LogonRemoteDlg.h"
#include "common/HistoryCombo.h"
#include "model/settings/Language.h"
#include "platform/os/paths.h"
#include "platform/qt/QtPlatform.h"
#include "skin/Skin.h"
#include "tests/activex/home_support.h"
#include "tests/support/test_places.h"

using testing::ElementsAre;

namespace
{

class EditMenuTest : public testing::Test
{
  protected:
    EditMenuTest() { StartQtPlatform(); }
    ~EditMenuTest() override
    {
        CLanguage::Reset();
        StopQtPlatform();
    }
    static void Speak(const char* language)
    {
        CLanguage::Reset();
        CLanguage::SetLanguage(language);
    }
    static QMenu* OpenMenu(QWidget& field, QContextMenuEvent::Reason reason = QContextMenuEvent::Mouse)
    {
        QContextMenuEvent event(reason, QPoint(5, 5), field.mapToGlobal(QPoint(5, 5)));
        QApplication::sendEvent(&field, &event);
        return qobject_cast<QMenu*>(QApplication::activePopupWidget());
    }
    // Less the shortcuts behind them.
    static std::vector<std::string> TextsOf(QLineEdit& edit)
    {
        std::vector<std::string> texts;
        QMenu* const menu = OpenMenu(edit);
        if (menu == nullptr) return texts;
        for (const QAction* action : menu->actions()) {
            if (!action->isSeparator())
                texts.push_back(action->text().section(QLatin1Char('\t'), 0, 0).toStdString());
        }
        menu->close();
        return texts;
    }

    const CTestHome m_Home;
};

TEST_F(EditMenuTest, TextsAreInTheCurrentLanguage)
{
    CTextField edit;
    edit.show();
    Speak("eng");
    EXPECT_THAT(TextsOf(edit), ElementsAre("Undo", "Redo", "Cut", "Copy", "Paste", "Delete", "Select all"));
    Speak("chs");
    EXPECT_THAT(TextsOf(edit), ElementsAre("撤销", "重做", "剪切", "复制", "粘贴", "删除", "全选"));
    Speak("cht");
    EXPECT_THAT(TextsOf(edit), ElementsAre("復原", "取消復原", "剪下", "複製", "貼上", "刪除", "全選"));
    Speak("none");
    EXPECT_THAT(TextsOf(edit), ElementsAre("&Undo", "&Redo", "Cu&t", "&Copy", "&Paste", "Delete", "Select All"))
        << "the toolkit has texts of its own";
}

TEST_F(EditMenuTest, EntriesDoWhatTheySayAndKeepTheirShortcuts)
{
    Speak("chs");
    CTextField edit("1001");
    edit.show();
    QMenu* const menu = OpenMenu(edit);
    ASSERT_NE(menu, nullptr);
    QAction* const all = menu->actions().constLast();
    EXPECT_EQ(all->text().toStdString(), "全选\tCtrl+A");
    all->trigger();
    EXPECT_EQ(edit.selectedText(), "1001");
    menu->close();
}

TEST_F(EditMenuTest, LooksLikeThePanelsAndGoesWhenItIsClosed)
{
    const char module = 0;
    ASSERT_NE(StartSkin(&module, 0, 0), 0);
    ASSERT_NE(LoadSkin(SystemPath(SourcePath("config/skin.smf"))), 0);
    QGuiApplication::setLayoutDirection(Qt::RightToLeft);
    CTextField edit;
    edit.show();
    const QPointer<QMenu> menu = OpenMenu(edit);
    EXPECT_NE(menu, nullptr);
    if (menu) {
        EXPECT_NE(menu->style(), QApplication::style());
        EXPECT_EQ(menu->layoutDirection(), Qt::LeftToRight);
        menu->close();
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(menu, nullptr);
    QGuiApplication::setLayoutDirection(Qt::LeftToRight);
    StopSkin();
}

TEST_F(EditMenuTest, EachFieldOfTheLogonHasIt)
{
    Speak("cht");
    QWidget parent;
    CLogonRemoteDlg logon([] { return std::unique_ptr<CRemoteStation>(); });
    ASSERT_TRUE(logon.Create(&parent));
    parent.show();
    const QList<QLineEdit*> edits = parent.findChildren<QLineEdit*>();
    EXPECT_EQ(edits.size(), 5);
    for (QLineEdit* const edit : edits)
        EXPECT_THAT(TextsOf(*edit), testing::Contains("貼上")) << edit->objectName().toStdString();
}

// As a line that is copied with its end.
TEST_F(EditMenuTest, FieldTakesOfWhatIsPastedTheFirstLine)
{
    CTextField edit;
    for (const char* const lines : {"1001\n", "1001\r\n2002", "1001\n\n3003\n"}) {
        QApplication::clipboard()->setText(lines);
        edit.setText("ab");
        edit.setCursorPosition(1);
        QTest::keySequence(&edit, QKeySequence::Paste);
        EXPECT_EQ(edit.text().toStdString(), "a1001b") << lines;
        EXPECT_EQ(edit.cursorPosition(), 5);
        edit.undo();
        EXPECT_EQ(edit.text().toStdString(), "ab");
    }
    QApplication::clipboard()->setText("\n1001");
    QTest::keySequence(&edit, QKeySequence::Paste);
    EXPECT_EQ(edit.text().toStdString(), "ab") << "the first line is empty";
}

TEST_F(EditMenuTest, FieldTakesTheFirstLineByEachWayOfPasting)
{
    CHistoryCombo box(nullptr, false, CHistoryCombo::EStyle::Plain, new CTextField);
    CTextField port;
    port.setValidator(new QIntValidator(0, 65535, &port));
    for (QLineEdit* const edit : {box.lineEdit(), static_cast<QLineEdit*>(&port)}) {
        QApplication::clipboard()->setText("80\n81");
        QApplication::clipboard()->setText("82\n83", QClipboard::Selection);
        const auto overAll = [&](const auto& paste) {
            edit->setText("8000");
            edit->selectAll();
            paste();
            return edit->text().toStdString();
        };
        QWidget* const keys = edit->focusProxy() != nullptr ? edit->focusProxy() : edit;
        EXPECT_EQ(overAll([&] { QTest::keyClick(keys, Qt::Key_V, Qt::ControlModifier); }), "80");
        EXPECT_EQ(overAll([&] { QTest::keyClick(keys, Qt::Key_Insert, Qt::ShiftModifier); }), "80");
        EXPECT_EQ(
            overAll([&] { QTest::keyClick(keys, Qt::Key_Insert, Qt::ShiftModifier | Qt::ControlModifier); }),
            "82");
        EXPECT_EQ(overAll([&] {
                      QMenu* const menu = OpenMenu(*edit);
                      ASSERT_NE(menu, nullptr);
                      menu->actions().at(5)->trigger();  // behind a separator
                      menu->close();
                  }),
                  "80");
        edit->clear();
        QTest::mouseClick(edit, Qt::MiddleButton);
        EXPECT_EQ(edit->text().toStdString(), "82");
        edit->clear();
        QMimeData lines;
        lines.setText("84\n85");
        QDragEnterEvent enter(QPoint(2, 2), Qt::CopyAction, &lines, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(edit, &enter);
        QDropEvent drop(QPointF(2, 2), Qt::CopyAction, &lines, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(edit, &drop);
        EXPECT_EQ(edit->text().toStdString(), "84");
        EXPECT_TRUE(drop.isAccepted());
    }
}

TEST_F(EditMenuTest, MiddleClickOnTheArrowOfABoxPastesNothing)
{
    CHistoryCombo box(nullptr, false, CHistoryCombo::EStyle::Plain, new CTextField);
    box.show();
    QApplication::clipboard()->setText("1001", QClipboard::Selection);
    QTest::mouseClick(&box, Qt::MiddleButton, {}, {box.width() - 5, box.height() / 2});
    EXPECT_EQ(box.currentText(), "");
    QTest::mouseClick(box.lineEdit(), Qt::MiddleButton);
    EXPECT_EQ(box.currentText(), "1001");
}

TEST_F(EditMenuTest, ClickOfAnotherButtonPastesNothing)
{
    CTextField edit("1001");
    edit.show();
    QApplication::clipboard()->setText("2002\n", QClipboard::Selection);
    for (const Qt::MouseButton button : {Qt::LeftButton, Qt::RightButton}) {
        QTest::mouseClick(&edit, button);
        EXPECT_EQ(edit.text(), "1001") << button;
    }
}

TEST_F(EditMenuTest, UndoTakesBackWhatWasPastedAlone)
{
    for (const char* const text : {"cd", "cd\n"}) {
        SCOPED_TRACE(text);
        CTextField edit;
        edit.show();
        QApplication::clipboard()->setText(text);
        QTest::keyClicks(&edit, "ab");
        QTest::keySequence(&edit, QKeySequence::Paste);
        QTest::keyClicks(&edit, "e");
        EXPECT_EQ(edit.text(), "abcde");
        edit.undo();
        EXPECT_EQ(edit.text(), "abcd");
        edit.undo();
        EXPECT_EQ(edit.text(), "ab");
        edit.home(false);
        QTest::keySequence(&edit, QKeySequence::Paste);
        QTest::keySequence(&edit, QKeySequence::Paste);
        EXPECT_EQ(edit.text(), "cdcdab");
        EXPECT_EQ(edit.cursorPosition(), 4);
        edit.undo();
        EXPECT_EQ(edit.text(), "cdab");
    }
}

// As a window's messages are seen by the module's hook: each once.
TEST_F(EditMenuTest, PasteByKeyReachesTheFieldOfABoxAsOneEventOfTheBox)
{
    CHistoryCombo box(nullptr, false, CHistoryCombo::EStyle::Plain, new CTextField);
    QApplication::clipboard()->setText("1001\n");
    struct : QObject {
        int keys = 0;
        bool eventFilter(QObject*, QEvent* event) override
        {
            keys += event->type() == QEvent::KeyPress ? 1 : 0;
            return false;
        }
    } spy;
    QCoreApplication::instance()->installEventFilter(&spy);
    QKeyEvent key(QEvent::KeyPress, Qt::Key_V, Qt::ControlModifier);
    QApplication::sendEvent(&box, &key);
    EXPECT_EQ(box.currentText(), "1001");
    EXPECT_EQ(spy.keys, 1);
}

TEST_F(EditMenuTest, FieldThatIsOnlyReadTakesNothing)
{
    CTextField edit;
    edit.setText("1001");
    edit.setReadOnly(true);
    QApplication::clipboard()->setText("2002\n");
    QApplication::clipboard()->setText("2002\n", QClipboard::Selection);
    QTest::keySequence(&edit, QKeySequence::Paste);
    QTest::mouseClick(&edit, Qt::MiddleButton);
    EXPECT_EQ(edit.text(), "1001");
}

TEST_F(EditMenuTest, PasteLeavesWhatIsComposedOnTheScreen)
{
    for (const char* const pasted : {"cd", "cd\n"}) {
        CTextField edit;
        edit.show();
        QApplication::clipboard()->setText(pasted);
        const auto caret = [&edit] { return edit.inputMethodQuery(Qt::ImCursorRectangle).toRectF().x(); };
        QTest::keySequence(&edit, QKeySequence::Paste);
        const qreal alone = caret();
        edit.clear();
        QInputMethodEvent composing("ni", {});
        QApplication::sendEvent(&edit, &composing);
        QTest::keySequence(&edit, QKeySequence::Paste);
        EXPECT_EQ(edit.text(), "cd");
        EXPECT_GT(caret(), alone) << pasted;
        QInputMethodEvent composed;
        composed.setCommitString("x");
        QApplication::sendEvent(&edit, &composed);
        QTest::keySequence(&edit, QKeySequence::Paste);
        EXPECT_EQ(edit.text(), "cdxcd");
        edit.undo();
        EXPECT_EQ(edit.text(), "cdx") << pasted;
    }
}

TEST_F(EditMenuTest, FieldThatIsDisabledTakesNothingAndOpensNone)
{
    QWidget window;
    CTextField edit("1001", &window);
    window.setEnabled(false);
    window.show();
    QApplication::clipboard()->setText("2002", QClipboard::Selection);
    QTest::mouseClick(window.windowHandle(), Qt::MiddleButton, {}, edit.geometry().center());
    EXPECT_EQ(edit.text(), "1001");
    QTest::mouseClick(window.windowHandle(), Qt::RightButton, {}, edit.geometry().center());
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
}

// As what is deleted with the control key held, which is held then for the paste too.
TEST_F(EditMenuTest, PasteThatFollowsADeletionIsCompleted)
{
    CHistoryCombo box(nullptr, false, CHistoryCombo::EStyle::Plain, new CTextField);
    box.AddString("1001");
    box.show();
    QApplication::clipboard()->setText("10\n");
    for (const Qt::Key key : {Qt::Key_Backspace, Qt::Key_V}) {
        QKeyEvent held(QEvent::KeyPress, key, Qt::ControlModifier);
        QApplication::sendEvent(&box, &held);
        if (key == Qt::Key_Backspace) {
            EXPECT_EQ(box.lineEdit()->text(), "");
        }
    }
    EXPECT_EQ(box.lineEdit()->text(), "1001");
    EXPECT_EQ(box.lineEdit()->selectedText(), "01");
}

// A press in the panel gives its window the keyboard, and the selection would go with it.
TEST_F(EditMenuTest, ClickedEntriesOfALogonsFieldActOnItsSelection)
{
    Speak("eng");
    QWidget parent;
    parent.resize(200, 400);
    CLogonRemoteDlg logon([] { return std::unique_ptr<CRemoteStation>(); });
    ASSERT_TRUE(logon.Create(&parent));
    logon.MoveWindow(0, 0, 200, 400);
    parent.show();
    parent.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&parent));
    const auto click = [](QLineEdit& edit, const char* text) {
        edit.setFocus();
        edit.selectAll();
        QMenu* const menu = OpenMenu(edit);
        ASSERT_NE(menu, nullptr);
        for (QAction* action : menu->actions()) {
            if (action->text().startsWith(QLatin1String(text)))
                QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(action).center());
        }
        EXPECT_EQ(QApplication::activePopupWidget(), nullptr) << text;
    };
    for (const int control : {CLogonRemoteDlg::USER, CLogonRemoteDlg::ADDRESS}) {
        auto* const field = logon.GetDlgItem<QWidget>(control);
        auto* const combo = qobject_cast<QComboBox*>(field);
        QLineEdit& edit = combo != nullptr ? *combo->lineEdit() : *qobject_cast<QLineEdit*>(field);
        edit.setText("guest");
        click(edit, "Copy");
        EXPECT_EQ(QApplication::clipboard()->text(), "guest") << control;
        QApplication::clipboard()->setText("operator");
        click(edit, "Paste");
        EXPECT_EQ(edit.text(), "operator") << control;
        click(edit, "Cut");
        EXPECT_EQ(edit.text(), "") << control;
    }
}

// The box has the keyboard and hands the event to its field past the field's filters.
TEST_F(EditMenuTest, MenuKeyOpensItInTheFieldOfABoxToo)
{
    Speak("cht");
    QComboBox box;
    box.setLineEdit(new CTextField);
    box.show();
    QMenu* const menu = OpenMenu(box, QContextMenuEvent::Keyboard);
    ASSERT_NE(menu, nullptr);
    EXPECT_EQ(menu->actions().constLast()->text().toStdString(), "全選\tCtrl+A");
    menu->close();
}

TEST_F(EditMenuTest, FieldInWhichTextIsComposedOpensNone)
{
    Speak("eng");
    QComboBox box;
    box.setLineEdit(new CTextField);
    CTextField plain;
    for (QLineEdit* const edit : {static_cast<QLineEdit*>(&plain), box.lineEdit()}) {
        QWidget& field = edit == &plain ? static_cast<QWidget&>(plain) : box;
        field.show();
        QInputMethodEvent composing("ni", {});
        QApplication::sendEvent(&field, &composing);
        EXPECT_EQ(OpenMenu(*edit), nullptr);
        QInputMethodEvent composed;
        composed.setCommitString("x");
        QApplication::sendEvent(&field, &composed);
        QMenu* const menu = OpenMenu(*edit);
        ASSERT_NE(menu, nullptr);
        EXPECT_EQ(menu->actions().constLast()->text().toStdString(), "Select all\tCtrl+A");
        menu->close();
    }
}

}  // namespace
