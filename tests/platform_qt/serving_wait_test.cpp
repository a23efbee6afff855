#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QAbstractButton>
#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QContextMenuEvent>
#include <QEventLoop>
#include <QKeyEvent>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPushButton>
#include <QShortcutEvent>
#include <QSocketNotifier>
#include <QTest>
#include <QTimer>
#include <QWheelEvent>
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <set>
#include <string>
#include <thread>

#include "platform/os/threads.h"
#include "platform/qt/MessageBoxes.h"
#include "platform/qt/QtPlatform.h"
#include "platform/qt/WindowHandle.h"
#include "platform/windows/serving.h"

namespace
{

constexpr std::uint32_t MESSAGE = 0x7EA;

class CPaintedPanel : public QWidget
{
  public:
    std::atomic<int> m_iPainted = 0;

  protected:
    void paintEvent(QPaintEvent*) override { ++m_iPainted; }
};

/// A panel and a window of the host's, both shown.
class ServingWait : public testing::Test
{
  protected:
    void SetUp() override
    {
        ASSERT_TRUE(StartQtPlatform());
        m_Host.show();
        m_Panel.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&m_Panel));
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&m_Host));
        QApplication::processEvents();
    }
    void TearDown() override { StopQtPlatform(); }

    /// Work that lasts until `condition` holds; false after 20 s.
    static bool Await(const std::function<bool()>& condition)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > end) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return true;
    }

    /// Waits while a timer of the panel's runs `turn`, and then twice more.
    void WaitWhilePanelRuns(std::function<void()> turn)
    {
        std::atomic<int> turns = 0;
        QTimer timer(&m_Panel);
        QObject::connect(&timer, &QTimer::timeout, &m_Panel, [&] {
            if (turns++ == 0) turn();
        });
        timer.start(1);
        RunServing([&] { EXPECT_TRUE(Await([&] { return turns > 2; })) << "the panel's timer stands"; });
    }

    /// The message box that stands in front; null when none does.
    static QMessageBox* FrontBox()
    {
        auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        return box != nullptr && box->isVisible() ? box : nullptr;
    }

    /// Clicks by way of the window, as the window system has it, and counts that in `clicks`. A box that has
    /// had `most` clicks goes: they are not served.
    static void Answer(QMessageBox& box, QMessageBox::StandardButton with, int& clicks, int most)
    {
        if (++clicks > most) {
            box.hide();
            return;
        }
        QAbstractButton* const button = box.button(with);
        QTest::mouseClick(box.windowHandle(), Qt::LeftButton, {}, button->mapTo(&box, button->rect().center()));
    }

    QWidget m_Host;
    CPaintedPanel m_Panel;
    std::atomic<int> m_iMessages = 0;
    CWindowHandle m_Handle{m_Panel, [this](std::uint32_t, WPARAM, LPARAM) -> LRESULT {
                               m_Panel.update();
                               return ++m_iMessages;
                           }};
};

TEST_F(ServingWait, ServesSentMessagesAndPaints)
{
    RunServing([&] {
        const int before = m_Panel.m_iPainted;
        EXPECT_EQ(SendMessageA(m_Handle.Get(), MESSAGE, 0, 0), 1);
        EXPECT_TRUE(Await([&] { return m_Panel.m_iPainted > before; }));
    });
}

TEST_F(ServingWait, HoldsBackTheHostsTimersUntilTheCallReturns)
{
    bool waiting = true;
    int early = 0;
    int late = 0;
    QTimer::singleShot(1, Qt::PreciseTimer, &m_Host, [&] { ++(waiting ? early : late); });
    QTimer repeated;
    QObject::connect(&repeated, &QTimer::timeout, &m_Host, [&] { ++(waiting ? early : late); });
    repeated.start(1);
    QTimer once;
    once.setSingleShot(true);
    bool fired = false;
    QObject::connect(&once, &QTimer::timeout, &m_Host, [&] {
        fired = true;
        EXPECT_FALSE(waiting);
    });
    once.start(3600 * 1000);
    QTimer soon(nullptr);
    soon.setSingleShot(true);
    bool soonFired = false;
    QObject::connect(&soon, &QTimer::timeout, &m_Host, [&] {
        soonFired = true;
        EXPECT_FALSE(waiting);
    });
    soon.start(1);
    WaitWhilePanelRuns([] {});
    waiting = false;
    EXPECT_EQ(early, 0);
    EXPECT_TRUE(QTest::qWaitFor([&] { return late > 0 && soonFired; }, 20000));
    EXPECT_FALSE(fired);
}

TEST_F(ServingWait, HoldsBackPostedMessages)
{
    WaitWhilePanelRuns([&] { EXPECT_TRUE(PostMessageA(m_Handle.Get(), MESSAGE, 0, 0)); });
    EXPECT_EQ(m_iMessages, 0);
    EXPECT_TRUE(QTest::qWaitFor([&] { return m_iMessages == 1; }, 20000));
}

TEST_F(ServingWait, ClosesAfterTheCallWhatIsToCloseMeanwhile)
{
    WaitWhilePanelRuns([&] {
        m_Host.close();
        m_Host.close();
    });
    EXPECT_TRUE(m_Host.isVisible());
    EXPECT_TRUE(QTest::qWaitFor([&] { return !m_Host.isVisible(); }, 20000));
}

TEST_F(ServingWait, TakesNoInput)
{
    QPushButton button(&m_Panel);
    button.show();
    int clicks = 0;
    QObject::connect(&button, &QPushButton::clicked, &m_Panel, [&] { ++clicks; });
    WaitWhilePanelRuns([&] {
        QTest::mouseClick(&button, Qt::LeftButton);
        QTest::keyClick(&button, Qt::Key_Space);
    });
    EXPECT_EQ(clicks, 0);
    QTest::mouseClick(&button, Qt::LeftButton);
    EXPECT_EQ(clicks, 1);
}

/// Takes every kind of input.
class CInputTaker final : public QWidget
{
  public:
    static constexpr std::array MOUSE{QEvent::MouseButtonPress, QEvent::MouseButtonRelease,
                                      QEvent::MouseButtonDblClick, QEvent::MouseMove};
    static constexpr std::array KEYS{QEvent::ShortcutOverride, QEvent::KeyPress, QEvent::KeyRelease};

    using QWidget::QWidget;

    void SendAll()
    {
        const QPointF place(1, 1);
        const QPointF onScreen = mapToGlobal(place);
        for (const QEvent::Type type : MOUSE) {
            QMouseEvent mouse(type, place, onScreen, Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(this, &mouse);
        }
        QWheelEvent wheel(place, onScreen, {}, {0, 120}, Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase,
                          false);
        QApplication::sendEvent(this, &wheel);
        QContextMenuEvent menu(QContextMenuEvent::Mouse, place.toPoint(), onScreen.toPoint());
        QApplication::sendEvent(this, &menu);
        for (const QEvent::Type type : KEYS) {
            QKeyEvent key(type, Qt::Key_F5, Qt::NoModifier);
            QApplication::sendEvent(this, &key);
        }
        QShortcutEvent shortcut(QKeySequence(Qt::Key_F5), 1);
        QApplication::sendEvent(this, &shortcut);
    }

    std::set<QEvent::Type> m_Taken;

  protected:
    bool event(QEvent* event) override
    {
        const bool input = event->isInputEvent() || event->type() == QEvent::Shortcut;
        if (!input) return QWidget::event(event);
        m_Taken.insert(event->type());
        event->accept();
        return true;
    }
};

TEST_F(ServingWait, TakesNoKindOfInput)
{
    CInputTaker taker(&m_Panel);
    taker.show();
    WaitWhilePanelRuns([&] { taker.SendAll(); });
    EXPECT_TRUE(taker.m_Taken.empty()) << *taker.m_Taken.begin();
    taker.SendAll();
    EXPECT_EQ(taker.m_Taken.size(), 10U);
}

TEST_F(ServingWait, EndsTheApplicationAfterTheCallWhenThatIsAskedForMeanwhile)
{
    struct CQuits final : QObject {
        bool eventFilter(QObject*, QEvent* event) override
        {
            if (event->type() != QEvent::Quit) return false;
            ++m_iQuits;
            return true;
        }
        int m_iQuits = 0;
    } quits;
    qApp->installEventFilter(&quits);
    WaitWhilePanelRuns([] {
        for (int i = 0; i < 2; ++i)
            QCoreApplication::postEvent(qApp, new QEvent(QEvent::Quit));
    });
    EXPECT_EQ(quits.m_iQuits, 0);
    EXPECT_TRUE(QTest::qWaitFor([&] { return quits.m_iQuits > 0; }));
    QApplication::processEvents();
    EXPECT_EQ(quits.m_iQuits, 1);
}

TEST_F(ServingWait, MessageBoxThatAnotherThreadAsksForCanBeAnswered)
{
    int clicks = 0;
    QTimer timer(&m_Panel);
    QObject::connect(&timer, &QTimer::timeout, &m_Panel, [&] {
        if (QMessageBox* const box = FrontBox()) Answer(*box, QMessageBox::No, clicks, 3);
    });
    timer.start(20);
    std::int32_t answer = 0;
    RunServing([&] { answer = MessageBoxA(m_Handle.Get(), "text", "caption", MB_YESNO); });
    EXPECT_EQ(answer, IDNO);
    EXPECT_EQ(clicks, 1);
}

std::ptrdiff_t CountBoxes()
{
    return std::ranges::count_if(QApplication::topLevelWidgets(), [](QWidget* widget) {
        return widget->isVisible() && qobject_cast<QMessageBox*>(widget) != nullptr;
    });
}

TEST_F(ServingWait, BoxesOfTwoThreadsAreAnsweredOneAfterTheOtherAndNothingElseIsServed)
{
    QPushButton button(&m_Panel);
    button.show();
    int pressed = 0;
    QObject::connect(&button, &QPushButton::clicked, &m_Panel, [&] { ++pressed; });
    std::ptrdiff_t most = 0;
    int clicks = 0;
    QTimer timer(&m_Panel);
    QObject::connect(&timer, &QTimer::timeout, &m_Panel, [&] {
        QMessageBox* const box = FrontBox();
        if (box == nullptr) return;
        most = std::max(most, CountBoxes());
        if (most < 2) return;  // the other one comes over it
        QTest::mouseClick(&button, Qt::LeftButton);
        Answer(*box, QMessageBox::Yes, clicks, 4);
    });
    timer.start(20);
    std::array<std::int32_t, 2> answers{};
    RunServing([&] {
        const auto ask = [&](std::size_t i) {
            answers[i] = MessageBoxA(m_Handle.Get(), std::to_string(i), "caption", MB_YESNO);
        };
        std::thread other(ask, 0);
        ask(1);
        other.join();
    });
    EXPECT_EQ(answers, (std::array<std::int32_t, 2>{IDYES, IDYES}));
    EXPECT_EQ(clicks, 2);
    EXPECT_EQ(pressed, 0);
}

TEST_F(ServingWait, BoxesThatStandOneOverTheOtherAreAllLetGo)
{
    std::ptrdiff_t most = 0;
    int turns = 0;
    QTimer timer(&m_Panel);
    QObject::connect(&timer, &QTimer::timeout, &m_Panel, [&] {
        if (most < 2) {
            most = CountBoxes();
            if (most == 2) const CNoMessageBoxes none;
        } else if (++turns > 10) {
            if (QWidget* const left = QApplication::activeModalWidget()) left->hide();
        }
    });
    timer.start(20);
    RunServing([&] {
        const auto ask = [&] { MessageBoxA(m_Handle.Get(), "text", "caption", MB_OK); };
        std::thread other(ask);
        ask();
        other.join();
    });
    EXPECT_EQ(most, 2);
    EXPECT_LE(turns, 10) << "one stood for good";
    EXPECT_EQ(CountBoxes(), 0);
}

// In a wait a call that the host has queued for its own objects runs a loop of its own, which the wait can't
// outlast: what that loop needs is served, the panels' input is not.
TEST_F(ServingWait, DialogThatAQueuedCallOfTheHostRunsCanBeAnswered)
{
    QPushButton button(&m_Panel);
    button.show();
    int pressed = 0;
    QObject::connect(&button, &QPushButton::clicked, &m_Panel, [&] { ++pressed; });
    std::atomic<bool> answered = false;
    int answer = 0;
    QMetaObject::invokeMethod(
        &m_Host,
        [&] {
            answer = QMessageBox::question(&m_Panel, "host", "text");
            answered = true;
        },
        Qt::QueuedConnection);
    int clicks = 0;
    QTimer timer(&m_Panel);
    QObject::connect(&timer, &QTimer::timeout, &m_Panel, [&] {
        QMessageBox* const box = FrontBox();
        if (box == nullptr) return;
        QTest::mouseClick(&button, Qt::LeftButton);
        Answer(*box, QMessageBox::Yes, clicks, 3);
    });
    timer.start(20);
    RunServing([&] { EXPECT_TRUE(Await([&] { return answered.load(); })); });
    EXPECT_EQ(answer, QMessageBox::Yes);
    EXPECT_EQ(clicks, 1);
    EXPECT_EQ(pressed, 0);
}

TEST_F(ServingWait, LoopThatAQueuedCallOfTheHostRunsHasItsTimersSocketsAndCloses)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    ASSERT_EQ(write(ends[0], "x", 1), 1);
    {
        QSocketNotifier notifier(ends[1], QSocketNotifier::Read);  // held back before the loop begins
        QEventLoop loop;
        bool read = false;
        QObject::connect(&notifier, &QSocketNotifier::activated, &m_Host, [&] {
            notifier.setEnabled(false);
            read = true;
            QTimer::singleShot(1, &m_Host, [&] {
                m_Host.close();
                if (!m_Host.isVisible()) loop.quit();
            });
        });
        std::atomic<bool> ended = false;
        bool inTime = false;
        int turns = 0;
        QTimer timer(&m_Panel);
        QObject::connect(&timer, &QTimer::timeout, &m_Panel, [&] {
            if (++turns < 5) return;
            timer.stop();  // nothing else comes then
            EXPECT_FALSE(read);
            QMetaObject::invokeMethod(
                &m_Host,
                [&] {
                    inTime = loop.exec() == 0;
                    ended = true;
                },
                Qt::QueuedConnection);
        });
        timer.start(4);
        RunServing([&] {
            if (Await([&] { return ended.load(); })) return;
            QMetaObject::invokeMethod(
                &m_Host, [&] { loop.exit(1); }, Qt::QueuedConnection);  // it waits for good
        });
        EXPECT_TRUE(inTime) << read;
    }
    close(ends[0]);
    close(ends[1]);
}

// Such a call may also look for events by itself, again and again, until what it waits for has come. Behind it
// all is held back as before.
TEST_F(ServingWait, QueuedCallOfTheHostMayLookForEventsUntilItsSocketAndTimerHaveCome)
{
    for (const auto flags : {QEventLoop::AllEvents, QEventLoop::WaitForMoreEvents}) {
        int ends[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        ASSERT_EQ(write(ends[0], "x", 1), 1);
        {
            QSocketNotifier notifier(ends[1], QSocketNotifier::Read);  // held back before the call
            bool came = false;
            QObject::connect(&notifier, &QSocketNotifier::activated, &m_Host, [&] {
                notifier.setEnabled(false);
                QTimer::singleShot(1, &m_Host, [&] { came = true; });
            });
            bool waiting = true;
            int early = 0;
            QTimer repeated;
            QObject::connect(&repeated, &QTimer::timeout, &m_Host, [&] { early += waiting ? 1 : 0; });
            std::atomic<bool> looked = false;
            std::atomic<int> turns = 0;
            QTimer timer(&m_Panel);
            QObject::connect(&timer, &QTimer::timeout, &m_Panel, [&] {
                if (looked && !repeated.isActive()) repeated.start(1);
                if (++turns != 5) return;
                EXPECT_FALSE(came);
                const auto look = [&, flags] {
                    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
                    while (!came && std::chrono::steady_clock::now() < end)
                        QCoreApplication::processEvents(flags);
                    turns = 5;
                    looked = true;
                };
                QMetaObject::invokeMethod(&m_Host, look, Qt::QueuedConnection);
            });
            timer.start(4);
            RunServing([&] { EXPECT_TRUE(Await([&] { return looked && turns > 15; })); });
            waiting = false;
            EXPECT_TRUE(came) << flags;
            EXPECT_EQ(early, 0) << flags;
        }
        close(ends[0]);
        close(ends[1]);
    }
}

// A call that the host has queued for its own objects takes the last control down.
TEST_F(ServingWait, EndsWhenThePlatformIsStoppedMeanwhile)
{
    bool stopped = false;
    std::atomic<bool> blocks = false;
    const auto blocking = QObject::connect(QAbstractEventDispatcher::instance(),
                                           &QAbstractEventDispatcher::aboutToBlock, [&] { blocks = stopped; });
    QMetaObject::invokeMethod(
        &m_Host,
        [&] {
            StopQtPlatform();
            stopped = true;
        },
        Qt::QueuedConnection);
    std::atomic<bool> worked = false;
    std::atomic<bool> returned = false;
    bool late = false;
    std::thread rescue([&] {
        Await([&] { return worked.load(); });
        late = !Await([&] { return returned.load(); });
        if (late) QAbstractEventDispatcher::instance(QCoreApplication::instance()->thread())->wakeUp();
    });
    RunServing([&] { worked = Await([&] { return blocks.load(); }); });
    returned = true;
    QObject::disconnect(blocking);
    rescue.join();
    EXPECT_TRUE(worked);
    EXPECT_FALSE(late) << "nothing woke the panels' thread";
    ASSERT_TRUE(StartQtPlatform());
}

TEST_F(ServingWait, HoldsBackTheHostsSockets)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    {
        QSocketNotifier notifier(ends[1], QSocketNotifier::Read);
        bool waiting = true;
        int late = 0;
        QObject::connect(&notifier, &QSocketNotifier::activated, &m_Host, [&] {
            EXPECT_FALSE(waiting);
            notifier.setEnabled(false);
            ++late;
        });
        ASSERT_EQ(write(ends[0], "x", 1), 1);
        WaitWhilePanelRuns([] {});
        waiting = false;
        EXPECT_TRUE(QTest::qWaitFor([&] { return late == 1; }, 20000));
    }
    close(ends[0]);
    close(ends[1]);
}

}  // namespace
