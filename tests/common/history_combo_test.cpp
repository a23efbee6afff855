#include "common/HistoryCombo.h"

#include <gmock/gmock.h>

#include <QAbstractItemView>
#include <QApplication>
#include <QLineEdit>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>
#include <QWheelEvent>
#include <fstream>

#include "inc/OutputDebugString.h"
#include "platform/files/profile.h"
#include "platform/os/paths.h"
#include "tests/support/forwarding_operations.h"
#include "tests/support/test_variable.h"

namespace
{

class HistoryComboTest : public testing::Test
{
  protected:
    QStringList Entries(const CHistoryCombo& combo) const
    {
        QStringList entries;
        for (int i = 0; i < combo.count(); ++i)
            entries << combo.itemText(i);
        return entries;
    }

    std::string Stored(const char* key)
    {
        return GetProfileText("Setting", key, "missing", 256, GetApplicationProfilePath());
    }
    void Store(const char* key, const char* value)
    {
        WritePrivateProfileStringA("Setting", key, value, GetApplicationProfilePath().c_str());
    }

    QTemporaryDir m_Directory;
    const CTestVariable m_ConfigHome{"XDG_CONFIG_HOME", m_Directory.path().toUtf8().constData()};
};

TEST_F(HistoryComboTest, AddingAKnownTextMovesItToTheTop)
{
    CHistoryCombo combo;
    for (const char* text : {"a", "b", "c"})
        combo.AddString(text);
    EXPECT_EQ(combo.AddString("a"), 0);
    EXPECT_EQ(Entries(combo), QStringList({"a", "c", "b"}));
    EXPECT_EQ(combo.currentText(), "a");
}

TEST_F(HistoryComboTest, OnlyTheVeryTextCountsAsKnown)
{
    CHistoryCombo combo;
    for (const char* text : {"gate", "gate 1", "Gate"})
        combo.AddString(text);
    EXPECT_EQ(Entries(combo), QStringList({"Gate", "gate 1", "gate"}));
    combo.AddString("gate");
    EXPECT_EQ(Entries(combo), QStringList({"gate", "Gate", "gate 1"}));
    EXPECT_EQ(combo.currentIndex(), 0);
}

TEST_F(HistoryComboTest, TextIsTrimmed)
{
    CHistoryCombo combo;
    combo.AddString("  1001  ");
    EXPECT_EQ(Entries(combo), QStringList({"1001"}));
}

// oddity: empty-entry. The trim comes first and nothing refuses an empty text.
TEST_F(HistoryComboTest, AddingBlanksAddsAnEmptyEntry)
{
    CHistoryCombo combo;
    combo.AddString("a");
    combo.AddString("   ");
    EXPECT_EQ(Entries(combo), QStringList({"", "a"}));
}

TEST_F(HistoryComboTest, AddingTrimsTheListToItsMaximum)
{
    CHistoryCombo combo;
    for (int i = 0; i < 15; ++i)
        combo.AddString(QString::number(i));
    EXPECT_EQ(combo.count(), 10);
    EXPECT_EQ(combo.itemText(0), "14");
    EXPECT_EQ(combo.itemText(9), "5");
}

TEST_F(HistoryComboTest, LoweringTheMaximumDeletesAtOnce)
{
    CHistoryCombo combo;
    for (int i = 0; i < 5; ++i)
        combo.AddString(QString::number(i));
    combo.SetMaxHistory(2);
    EXPECT_EQ(Entries(combo), QStringList({"4", "3"}));
}

TEST_F(HistoryComboTest, HistorySurvivesInTheProfile)
{
    {
        CHistoryCombo combo;
        combo.LoadHistory("Setting", "HistoryCombo");
        combo.AddString("1001");
        combo.AddString("1002");
        combo.SaveHistory(false);
    }
    EXPECT_EQ(Stored("HistoryCombo0"), "1002");
    EXPECT_EQ(Stored("HistoryCombo1"), "1001");
    EXPECT_EQ(Stored("HistoryCombo"), "1002") << "the last text stands under the prefix";
    CHistoryCombo combo;
    EXPECT_EQ(combo.LoadHistory("Setting", "HistoryCombo"), "1002");
    EXPECT_EQ(Entries(combo), QStringList({"1002", "1001"}));
    EXPECT_EQ(combo.currentText(), "1002");
}

TEST_F(HistoryComboTest, LastKeyIsTheGivenOneThePrefixOrLast)
{
    CHistoryCombo combo;
    EXPECT_EQ(combo.GetLastKey(), "Last");
    combo.LoadHistory("Setting", "Prefix");
    EXPECT_EQ(combo.GetLastKey(), "Prefix");
    combo.LoadHistory("Setting", "Prefix", true, "Given");
    EXPECT_EQ(combo.GetLastKey(), "Given");
}

TEST_F(HistoryComboTest, WithoutRestoreLastNothingIsCurrent)
{
    Store("H0", "a");
    Store("H", "b");
    CHistoryCombo combo;
    EXPECT_EQ(combo.LoadHistory("Setting", "H", false), "");
    EXPECT_EQ(combo.currentText(), "");
    EXPECT_EQ(Entries(combo), QStringList({"a"}));
}

TEST_F(HistoryComboTest, EmptySectionOrPrefixLoadsNothing)
{
    Store("H0", "a");
    CHistoryCombo combo;
    combo.AddString("kept");
    EXPECT_EQ(combo.LoadHistory("", "H"), "");
    EXPECT_EQ(combo.LoadHistory("Setting", ""), "");
    EXPECT_EQ(Entries(combo), QStringList({"kept"}));
}

TEST_F(HistoryComboTest, GapInTheProfileTruncatesTheList)
{
    Store("H0", "a");
    Store("H1", "b");
    Store("H3", "d");
    CHistoryCombo combo;
    combo.LoadHistory("Setting", "H");
    EXPECT_EQ(Entries(combo), QStringList({"a", "b"}));
}

TEST_F(HistoryComboTest, LoadStopsAtTheMaximum)
{
    for (int n = 0; n < 12; ++n)
        Store(("H" + std::to_string(n)).c_str(), "x");
    CHistoryCombo combo;
    combo.LoadHistory("Setting", "H");
    EXPECT_EQ(combo.count(), 10);
}

TEST_F(HistoryComboTest, SaveWritesElevenWhenElevenExist)
{
    CHistoryCombo combo;
    combo.LoadHistory("Setting", "H");
    QStringList texts;
    for (int i = 0; i < 13; ++i)
        texts << QString("t%1").arg(i);
    combo.LoadHistory(texts, true);
    combo.SaveHistory(false);
    EXPECT_EQ(Stored("H10"), "t10");
    EXPECT_EQ(Stored("H11"), "missing");
}

TEST_F(HistoryComboTest, SaveBlanksTheRestOfALongerListUpToItsFirstGap)
{
    for (const char* key : {"H0", "H1", "H2", "H4"})
        Store(key, "old");
    CHistoryCombo combo;
    combo.LoadHistory("Setting", "H");
    combo.clear();
    combo.AddString("new");
    combo.SaveHistory(false);
    EXPECT_EQ(Stored("H0"), "new");
    EXPECT_EQ(Stored("H1"), "");
    EXPECT_EQ(Stored("H2"), "");
    EXPECT_EQ(Stored("H4"), "old") << "behind the gap nothing is blanked";
}

TEST_F(HistoryComboTest, AnEmptyKeyIsAGapToo)
{
    for (const char* key : {"H0", "H1", "H3"})
        Store(key, "old");
    Store("H2", "");
    CHistoryCombo combo;
    combo.LoadHistory("Setting", "H");
    EXPECT_EQ(combo.count(), 2);
    combo.clear();
    combo.AddString("new");
    combo.SaveHistory(false);
    EXPECT_EQ(Stored("H1"), "");
    EXPECT_EQ(Stored("H3"), "old");
}

TEST_F(HistoryComboTest, KeyNumbersEndAtAThousand)
{
    std::ofstream profile(HostPath(GetApplicationProfilePath()));
    profile << "[Setting]\n";
    for (int n = 0; n < 1002; ++n)
        profile << "H" << n << "=x\n";
    profile.close();
    CHistoryCombo combo;
    combo.LoadHistory("Setting", "H");
    combo.ClearHistory();
    EXPECT_EQ(Stored("H999"), "");
    EXPECT_EQ(Stored("H1000"), "x");
}

TEST_F(HistoryComboTest, SaveAddsTheCurrentTextWhenAsked)
{
    CHistoryCombo combo;
    combo.LoadHistory("Setting", "H");
    combo.setEditText("typed");
    combo.SaveHistory(true);
    EXPECT_EQ(Stored("H0"), "typed");
}

// oddity: empty-entry. Nothing refuses an empty text, and the list ends there when it is loaded again.
TEST_F(HistoryComboTest, SaveAddsAnEmptyCurrentTextToo)
{
    CHistoryCombo combo;
    combo.LoadHistory("Setting", "H");
    combo.AddString("a");
    combo.setEditText("");
    combo.SaveHistory(true);
    EXPECT_EQ(Stored("H0"), "");
    EXPECT_EQ(Stored("H1"), "a");
    EXPECT_EQ(combo.LoadHistory("Setting", "H"), "");
    EXPECT_EQ(combo.count(), 0);
}

TEST_F(HistoryComboTest, AddedTextIsSelectedAlsoOverATypedOneWithBlanks)
{
    CHistoryCombo combo;
    combo.AddString("b");
    combo.AddString("a");
    for (const char* typed : {" a ", "a", " b", "c "}) {
        combo.setEditText(typed);
        EXPECT_EQ(combo.AddString(combo.currentText()), 0);
        EXPECT_EQ(combo.currentText(), QString(typed).trimmed());
        EXPECT_EQ(combo.currentIndex(), 0);
    }
}

TEST_F(HistoryComboTest, SaveWithoutRestoreLastWritesNoLastText)
{
    CHistoryCombo combo;
    combo.LoadHistory("Setting", "H", false);
    combo.AddString("a");
    combo.SaveHistory(false);
    EXPECT_EQ(Stored("H0"), "a");
    EXPECT_EQ(Stored("H"), "missing");
}

TEST_F(HistoryComboTest, ClearBlanksTheLastTextToo)
{
    Store("H0", "a");
    Store("H", "last");
    CHistoryCombo combo;
    combo.LoadHistory("Setting", "H", false);
    combo.ClearHistory(true);
    EXPECT_EQ(Stored("H0"), "");
    EXPECT_EQ(Stored("H"), "");
}

TEST_F(HistoryComboTest, SaveAndClearWithoutASectionDoNothing)
{
    CHistoryCombo combo;
    combo.AddString("a");
    combo.SaveHistory(false);
    combo.ClearHistory(true);
    EXPECT_EQ(combo.count(), 1);
    EXPECT_EQ(Stored("0"), "missing");
}

TEST_F(HistoryComboTest, ClearKeepsTheProfileUnlessTold)
{
    Store("H0", "a");
    CHistoryCombo combo;
    combo.LoadHistory("Setting", "H");
    combo.ClearHistory(false);
    EXPECT_EQ(combo.count(), 0);
    EXPECT_EQ(Stored("H0"), "a");
}

TEST_F(HistoryComboTest, CopyTakesEntriesAndText)
{
    CHistoryCombo from;
    for (const char* text : {"a", "A", "b"})
        from.AddString(text);
    CHistoryCombo to;
    to.AddString("old");
    for (const int selected : {0, 1, 2}) {
        from.setCurrentIndex(selected);
        from.CopyTo(to);
        EXPECT_EQ(Entries(to), QStringList({"b", "A", "a"}));
        EXPECT_EQ(to.currentText(), from.currentText());
        EXPECT_EQ(to.currentIndex(), selected);
    }
}

TEST_F(HistoryComboTest, ListIsLoadedWithoutItsEmptyTexts)
{
    CHistoryCombo combo;
    EXPECT_EQ(combo.LoadHistory(QStringList({"a", "", "b"}), true), "a");
    EXPECT_EQ(Entries(combo), QStringList({"a", "b"}));
}

TEST_F(HistoryComboTest, ListLoadedWithoutASelectionLeavesTheCurrentText)
{
    CHistoryCombo combo;
    EXPECT_EQ(combo.LoadHistory(QStringList({"a", "b"}), false), "");
    EXPECT_EQ(combo.currentIndex(), -1);
    combo.setEditText("typed");
    EXPECT_EQ(combo.LoadHistory(QStringList({"c"}), false), "typed");
    EXPECT_EQ(Entries(combo), QStringList({"a", "b", "c"}));
}

TEST_F(HistoryComboTest, TypingCompletesAndLeavesTheCaretAfterWhatWasTyped)
{
    CHistoryCombo combo;
    combo.AddString("1001");
    combo.setEditText("");
    QTest::keyClicks(combo.lineEdit(), "10");
    EXPECT_EQ(combo.lineEdit()->text(), "1001");
    EXPECT_EQ(combo.lineEdit()->selectedText(), "01");
    EXPECT_EQ(combo.lineEdit()->cursorPosition(), 2);
    QTest::keyClicks(combo.lineEdit(), "0");
    EXPECT_EQ(combo.lineEdit()->text(), "1001");
    EXPECT_EQ(combo.lineEdit()->selectedText(), "1");
}

TEST_F(HistoryComboTest, TypingWithoutAMatchStaysAsTyped)
{
    CHistoryCombo combo;
    combo.AddString("1001");
    combo.setEditText("");
    QTest::keyClicks(combo.lineEdit(), "12");
    EXPECT_EQ(combo.lineEdit()->text(), "12");
    EXPECT_EQ(combo.lineEdit()->selectedText(), "");
}

TEST_F(HistoryComboTest, TypingKeepsItsCapitalsBesideAnEntryWithOthers)
{
    CHistoryCombo combo;
    combo.AddString("Gate1");
    combo.setEditText("");
    QTest::keyClicks(combo.lineEdit(), "gate2");
    EXPECT_EQ(combo.lineEdit()->text(), "gate2");
}

TEST_F(HistoryComboTest, TypingInTheMiddleCompletesTheWholeText)
{
    CHistoryCombo combo;
    combo.AddString("10012");
    combo.SetAutoComplete(false);
    combo.setEditText("");
    QTest::keyClicks(combo.lineEdit(), "11");
    combo.SetAutoComplete(true);
    combo.lineEdit()->setCursorPosition(1);
    QTest::keyClick(combo.lineEdit(), Qt::Key_0);
    EXPECT_EQ(combo.lineEdit()->text(), "101") << "no entry begins so";
    combo.lineEdit()->setCursorPosition(1);
    QTest::keyClick(combo.lineEdit(), Qt::Key_0);
    EXPECT_EQ(combo.lineEdit()->text(), "10012");
    EXPECT_EQ(combo.lineEdit()->selectedText(), "2");
    EXPECT_EQ(combo.lineEdit()->cursorPosition(), 4);
}

TEST_F(HistoryComboTest, WithoutAutoCompletionTypingStaysAsTyped)
{
    CHistoryCombo combo;
    combo.AddString("1001");
    combo.SetAutoComplete(false);
    combo.setEditText("");
    QTest::keyClicks(combo.lineEdit(), "10");
    EXPECT_EQ(combo.lineEdit()->text(), "10");
}

TEST_F(HistoryComboTest, DeletingNeverCompletes)
{
    CHistoryCombo combo;
    combo.AddString("1001");
    combo.setEditText("");
    QTest::keyClicks(combo.lineEdit(), "100");
    QTest::keyClick(combo.lineEdit(), Qt::Key_Delete);
    EXPECT_EQ(combo.lineEdit()->text(), "100");
    QTest::keyClick(combo.lineEdit(), Qt::Key_Backspace);
    EXPECT_EQ(combo.lineEdit()->text(), "10");
}

// Every entry begins with an empty text.
TEST_F(HistoryComboTest, CuttingTheWholeTextLeavesTheFieldEmpty)
{
    CHistoryCombo combo;
    combo.AddString("1001");
    combo.lineEdit()->selectAll();
    QTest::keyClick(combo.lineEdit(), Qt::Key_X, Qt::ControlModifier);
    EXPECT_EQ(combo.lineEdit()->text(), "");
}

// A window system's keys come to what has the focus, which is the box and not the field within it.
TEST_F(HistoryComboTest, DeletingNeverCompletesWithKeysThatComeToTheBoxEither)
{
    CHistoryCombo combo;
    combo.AddString("1001");
    combo.setEditText("");
    combo.show();
    combo.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&combo));
    combo.lineEdit()->setFocus();
    QWidget* const focused = QApplication::focusWidget();
    ASSERT_NE(focused, nullptr);
    QTest::keyClicks(focused, "100");
    EXPECT_EQ(combo.lineEdit()->selectedText(), "1");
    QTest::keyClick(focused, Qt::Key_Delete);
    EXPECT_EQ(combo.lineEdit()->text(), "100");
    QTest::keyClick(focused, Qt::Key_Backspace);
    EXPECT_EQ(combo.lineEdit()->text(), "10");
    QTest::keyClicks(focused, "0");
    EXPECT_EQ(combo.lineEdit()->text(), "1001") << "the next key completes again";
}

class CCountingOperations final : public CForwardingOperations
{
  public:
    int m_iRenames = 0;
    int Rename(const char* from, const char* to) override
    {
        ++m_iRenames;
        return CForwardingOperations::Rename(from, to);
    }
};

TEST_F(HistoryComboTest, ASaveAndAClearAreOneWriteEach)
{
    for (int key = 0; key < 20; ++key)
        Store(std::to_string(key).insert(0, "Address").c_str(), "old");
    CHistoryCombo combo;
    combo.LoadHistory("Setting", "Address");
    combo.setEditText("1001");
    CCountingOperations operations;
    combo.SaveHistory();
    EXPECT_EQ(operations.m_iRenames, 1);
    EXPECT_EQ(Stored("Address0"), "1001");
    EXPECT_EQ(Stored("Address19"), "");
    EXPECT_EQ(Stored("Address"), "1001");
    combo.ClearHistory();
    EXPECT_EQ(operations.m_iRenames, 2);
    EXPECT_EQ(Stored("Address0"), "");
    EXPECT_EQ(Stored("Address"), "");
}

TEST_F(HistoryComboTest, SortedComboWarnsUnlessItIsMeant)
{
    std::string heard;
    const auto former = SetDebugListener([&heard](std::string_view text) { heard += text; });
    CHistoryCombo meant(nullptr, true, CHistoryCombo::EStyle::Sorted);
    EXPECT_EQ(heard, "");
    CHistoryCombo sorted(nullptr, false, CHistoryCombo::EStyle::Sorted);
    SetDebugListener(former);
    EXPECT_EQ(heard, "WARNING: Creating History combo with CBS_SORT style\n");
}

TEST_F(HistoryComboTest, WheelLeavesWhatIsTyped)
{
    CHistoryCombo combo;
    for (const char* text : {"1001", "1002", "1003"})
        combo.AddString(text);
    combo.show();
    combo.setEditText("typed");
    for (const int step : {-120, 120, -1200}) {
        QWheelEvent turn(QPointF(5, 5), combo.mapToGlobal(QPointF(5, 5)), {}, QPoint(0, step), Qt::NoButton,
                         Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(combo.lineEdit(), &turn);
        QApplication::sendEvent(&combo, &turn);
        EXPECT_EQ(combo.currentText(), "typed") << step;
        EXPECT_FALSE(turn.isAccepted()) << "the page may scroll";
    }
}

TEST_F(HistoryComboTest, ListDropsNoDeeperThanItIsTold)
{
    CHistoryCombo combo;
    const auto depth = [&combo] {
        combo.showPopup();
        const int height = combo.view()->window()->height();
        const bool beneath =
            combo.view()->window()->y() >= combo.mapToGlobal(QPoint(0, combo.height() - 1)).y();
        combo.hidePopup();
        return beneath ? height : -height;
    };
    for (int i = 0; i < 10; ++i)
        combo.AddString(QString::number(i));
    combo.show();
    ASSERT_GT(depth(), 122);
    combo.SetListDepth(122);
    EXPECT_EQ(depth(), 122);
    combo.move(0, combo.screen()->geometry().bottom() - combo.height());
    QApplication::processEvents();
    EXPECT_EQ(depth(), -122) << "above the field";
    combo.showPopup();
    EXPECT_NEAR(combo.view()->window()->geometry().bottom(), combo.mapToGlobal(QPoint(0, 0)).y(), 2);
    combo.hidePopup();
    combo.move(0, 0);
    QApplication::processEvents();
    combo.clear();
    combo.AddString("one");
    EXPECT_LT(depth(), 122);
    EXPECT_GT(depth(), 0);
}

}  // namespace
