#include "host/ScriptedOperator.h"

#include <gtest/gtest.h>

#include <QComboBox>
#include <QLineEdit>
#include <QTest>
#include <QVBoxLayout>
#include <functional>
#include <optional>
#include <utility>

namespace
{

constexpr int ADDRESS_COMBO = 1447;

// A panel that has the first control that the script looks for.
class ScriptedOperatorTest : public testing::Test
{
  protected:
    ScriptedOperatorTest()
    {
        auto* const address = new QComboBox;
        address->setObjectName(QStringLiteral("control%1").arg(ADDRESS_COMBO));
        address->setEditable(true);
        (new QVBoxLayout(&m_Panel))->addWidget(address);
        m_pAddress = address->lineEdit();
        m_Options.logon = "7";
        m_Script.emplace(m_Options, m_Panel, nullptr);
        QObject::connect(&*m_Script, &CScriptedOperator::Finished,
                         [this](const QString& fault) { m_Faults << fault; });
        m_Panel.show();
    }

    Options m_Options;
    QWidget m_Panel;
    QLineEdit* m_pAddress = nullptr;
    std::optional<CScriptedOperator> m_Script;
    QStringList m_Faults;
};

TEST_F(ScriptedOperatorTest, AMessageOutsideAStepEndsNothing)
{
    m_Script->Start();
    EXPECT_FALSE(m_Script->OnMessage("a stream has no picture"));
    EXPECT_TRUE(QTest::qWaitFor([&] { return m_Script->GetPresentStep() == "log on"; }));
    EXPECT_TRUE(m_Faults.isEmpty());
}

// Calls when an object is about to get an event that is a call of its own.
class CBeforeCall : public QObject
{
  public:
    explicit CBeforeCall(std::function<void()> action) : m_Action(std::move(action)) {}
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::MetaCall) m_Action();
        return false;
    }

  private:
    const std::function<void()> m_Action;
};

TEST_F(ScriptedOperatorTest, AMessageBeforeAStepThatIsDueEndsNothing)
{
    int before = 0;
    CBeforeCall filter([&] {
        ++before;
        EXPECT_FALSE(m_Script->OnMessage("a stream has no picture"));
    });
    m_Script->installEventFilter(&filter);
    m_Script->Start();
    EXPECT_TRUE(QTest::qWaitFor([&] { return m_Script->GetPresentStep() == "log on"; }));
    EXPECT_GT(before, 0);
    EXPECT_TRUE(m_Faults.isEmpty());
}

TEST_F(ScriptedOperatorTest, AMessageWithinAStepIsItsFailure)
{
    bool taken = false;
    QObject::connect(m_pAddress, &QLineEdit::textChanged,
                     [&] { taken = m_Script->OnMessage("the directory does not answer"); });
    m_Script->Start();
    EXPECT_TRUE(QTest::qWaitFor([&] { return !m_Faults.isEmpty(); }));
    EXPECT_TRUE(taken);
    EXPECT_EQ(m_Faults, QStringList{"the directory does not answer"});
}

// As the field of the logon does with an entry of its history.
TEST_F(ScriptedOperatorTest, NetIdKeepsItsCaseBesideAHistoryInAnother)
{
    const QString entry = "ab-1";
    QObject::connect(m_pAddress, &QLineEdit::textEdited, m_pAddress, [&](const QString& typed) {
        if (!entry.startsWith(typed, Qt::CaseInsensitive)) return;
        m_pAddress->setText(entry);
        m_pAddress->setSelection(static_cast<int>(entry.size()), static_cast<int>(typed.size() - entry.size()));
    });
    m_Options.logon = "AB-1";
    CScriptedOperator script(m_Options, m_Panel, nullptr);
    script.Start();
    EXPECT_TRUE(QTest::qWaitFor([&] { return script.GetPresentStep() == "log on"; }));
    EXPECT_EQ(m_pAddress->text(), "AB-1");
}

}  // namespace
