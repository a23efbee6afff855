#include <signal.h>

#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <memory>

#include "tests/host/program_support.h"
#include "tests/links/recorder_support.h"
#include "tests/support/virtual_display.h"

// The program's whole command line against a recorder: what it does by itself, what it reports, and the exit
// code by which a script learns whether pictures came.

namespace
{

constexpr int SCRIPT_FAILED = 5;
constexpr int NOTHING_SHOWN = 6;
constexpr int DISPLAY_GONE = 7;

class ScriptTest : public ProgramTest
{
  protected:
    void SetUp() override
    {
        ProgramTest::SetUp();
        m_Environment.insert("LC_ALL", "C");
    }
    void StartRecorder(std::vector<std::string> more = {})
    {
        more.insert(more.end(), {"--size", "352x288", "--fps", "12", "--loop", "1"});
        m_pRecorder = std::make_unique<CRecorderProcess>(more);
        const Endpoints endpoints = m_pRecorder->GetEndpoints();
        WriteSettings(endpoints.directoryPort, endpoints.rendezvousPort);
    }
    void WriteSettings(int directory, int rendezvous)
    {
        QFile settings(File("home/config/system.ini"));
        ASSERT_TRUE(settings.open(QIODevice::WriteOnly));
        settings.write(
            QStringLiteral("[System]\nDirectoryPort=%1\nRendezvousPort=%2\nSharedReceive=1\nStandardChroma=1\n")
                .arg(directory)
                .arg(rendezvous)
                .toUtf8());
    }
    QStringList LogOn() const { return Home() + QStringList{"--logon", "1001"}; }
    // Of the channels, by number, how many pictures were shown; empty without a report.
    QMap<int, int> ReadShown() const
    {
        QFile file(File("report.json"));
        QMap<int, int> shown;
        if (!file.open(QIODevice::ReadOnly)) return shown;
        const auto channels = QJsonDocument::fromJson(file.readAll()).object()["channels"].toArray();
        for (const auto& channel : channels)
            shown[channel.toObject()["channel"].toInt()] = channel.toObject()["shown"].toInt();
        return shown;
    }

    // Until there are more changes in the first cell than the opening makes: pictures that move.
    void WaitMoving(const CScreen& screen)
    {
        const QRect cell(210, 70, 100, 100);
        ASSERT_TRUE(WaitShown());
        constexpr int CHANGES = 8;
        for (int change = 0; change < CHANGES; ++change) {
            const QImage before = screen.Grab(cell);
            ASSERT_TRUE(WaitUntil([&] { return screen.Grab(cell) != before; }));
        }
    }

    std::unique_ptr<CRecorderProcess> m_pRecorder;
};

TEST_F(ScriptTest, OpensTheChannelsThatAreNamedInTheArrangementThatIsNamed)
{
    StartRecorder();
    EXPECT_EQ(Run(LogOn() + QStringList{"--open", "2,4", "--layout", "9", "--seconds", "3", "--report",
                                        File("report.json"), "--screenshot", File("wall.png")}),
              0)
        << m_strErrors.toStdString();
    const auto shown = ReadShown();
    ASSERT_EQ(shown.size(), 4);
    EXPECT_EQ(shown[1], 0);
    EXPECT_GT(shown[2], 0);
    EXPECT_EQ(shown[3], 0);
    EXPECT_GT(shown[4], 0);
    EXPECT_TRUE(m_strOutput.contains("channel 2 \"Channel 2\": 352x288")) << m_strOutput.toStdString();
    // The third cell of nine is empty, the first two aren't.
    const QImage picture(File("wall.png"));
    ASSERT_FALSE(picture.isNull());
    const auto cell = [&picture](int i) { return picture.copy(200 + i * 200 + 4, 60 + 4, 180, 160); };
    EXPECT_NE(cell(0), cell(2));
    EXPECT_NE(cell(1), cell(2));
    EXPECT_NE(cell(0), cell(1));
}

struct FoldedRow {
    const char* name;
    const char* logon;
    const char* open;
    int code;
};

class FoldedScriptTest : public ScriptTest, public testing::WithParamInterface<FoldedRow>
{
};

TEST_P(FoldedScriptTest, TheSideBarIsUnfoldedForTheLogonAlone)
{
    StartRecorder();
    ASSERT_TRUE(QDir().mkpath(File("user/watchwall")));
    QFile profile(File("user/watchwall/profile.ini"));
    ASSERT_TRUE(profile.open(QIODevice::WriteOnly));
    profile.write("[Settings]\nOutbarSize=0\n");
    profile.close();
    QStringList arguments = LogOn();
    arguments.replace(arguments.indexOf("--logon") + 1, GetParam().logon);
    EXPECT_EQ(Run(arguments + QStringList{"--open", GetParam().open, "--seconds", "3"}), GetParam().code)
        << m_strErrors.toStdString();
    ASSERT_TRUE(profile.open(QIODevice::ReadOnly));
    EXPECT_TRUE(profile.readAll().contains("OutbarSize=0\n"));
}

INSTANTIATE_TEST_SUITE_P(Logons, FoldedScriptTest,
                         testing::Values(FoldedRow{"succeeds", "1001", "1,4", 0},
                                         FoldedRow{"fails", "1002", "1", 5},
                                         FoldedRow{"ends_before_it_is_through", "1001", "60", 5}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(ScriptTest, FullScreenShowsTheWallOnTheWholeScreen)
{
    StartRecorder();
    Start(LogOn() + QStringList{"--open", "all", "--full-screen", "--screenshot", File("wall.png")});
    CScreen screen(qgetenv("DISPLAY").toStdString());
    // More changes than a window that comes up makes: pictures that move, in each quarter of the screen.
    constexpr int CHANGES = 8;
    const QSize quarter(CVirtualDisplay::WIDTH / 2, CVirtualDisplay::HEIGHT / 2);
    for (int i = 0; i < 4; ++i) {
        const QRect area(QPoint(i % 2 * quarter.width(), i / 2 * quarter.height()), quarter);
        for (int change = 0; change < CHANGES; ++change) {
            const QImage before = screen.Grab(area);
            ASSERT_TRUE(WaitUntil([&] { return screen.Grab(area) != before; })) << i;
        }
    }
    ASSERT_EQ(::kill(static_cast<pid_t>(m_Process.processId()), SIGTERM), 0);
    EXPECT_EQ(End(), 0) << m_strErrors.toStdString();
    const QImage picture(File("wall.png"));
    ASSERT_EQ(picture.size(), QSize(CVirtualDisplay::WIDTH, CVirtualDisplay::HEIGHT));
    for (int i = 0; i < 4; ++i)
        EXPECT_NE(picture.pixelColor(320 + i % 2 * 640, 240 + i / 2 * 480), QColor(Qt::black)) << i;
}

TEST_F(ScriptTest, AChannelWithoutPicturesIsNamedAndCounts)
{
    StartRecorder({"--loss", "100"});
    EXPECT_EQ(Run(LogOn() + QStringList{"--open", "3", "--seconds", "3"}), NOTHING_SHOWN);
    EXPECT_TRUE(m_strErrors.contains("channel 3 has shown no picture")) << m_strErrors.toStdString();
}

TEST_F(ScriptTest, EachOfAllChannelsCounts)
{
    StartRecorder({"--loss", "100"});
    EXPECT_EQ(Run(LogOn() + QStringList{"--open", "all", "--seconds", "5"}), NOTHING_SHOWN);
    for (int channel = 1; channel <= 4; ++channel)
        EXPECT_TRUE(m_strErrors.contains(QStringLiteral("channel %1 has shown no picture").arg(channel)))
            << m_strErrors.toStdString();
}

TEST_F(ScriptTest, AChannelThatTheStationDoesNotHaveIsReported)
{
    StartRecorder({"--channels", "2"});
    EXPECT_EQ(Run(LogOn() + QStringList{"--open", "3", "--seconds", "20"}), SCRIPT_FAILED);
    EXPECT_TRUE(m_strErrors.contains("channel 3 was asked for, the station has 2"))
        << m_strErrors.toStdString();
}

TEST_F(ScriptTest, AStationWithoutChannelsHasNothingToShow)
{
    StartRecorder({"--channels", "0"});
    EXPECT_EQ(Run(LogOn() + QStringList{"--open", "all", "--seconds", "2"}), NOTHING_SHOWN);
    EXPECT_TRUE(m_strErrors.contains("no channel to show")) << m_strErrors.toStdString();
}

TEST_F(ScriptTest, AMissingArrangementIsReported)
{
    EXPECT_EQ(Run(Home() + QStringList{"--layout", "7", "--seconds", "20"}), SCRIPT_FAILED);
    EXPECT_TRUE(m_strErrors.contains("there is no arrangement of 7 cells")) << m_strErrors.toStdString();
}

TEST_F(ScriptTest, ADirectoryThatIsDownIsReportedWithThePanelsMessage)
{
    WriteSettings(1, 1);
    EXPECT_EQ(Run(LogOn() + QStringList{"--open", "all", "--seconds", "20"}), SCRIPT_FAILED);
    EXPECT_TRUE(m_strErrors.contains("The station cannot be reached.")) << m_strErrors.toStdString();
}

TEST_F(ScriptTest, AnEndBeforeTheScriptIsDoneIsReported)
{
    StartRecorder({"--delay", "1000", "--faults-on", "rendezvous"});
    EXPECT_EQ(Run(LogOn() + QStringList{"--open", "1", "--seconds", "1"}), SCRIPT_FAILED);
    EXPECT_TRUE(m_strErrors.contains("the end came before it could")) << m_strErrors.toStdString();
}

// The end comes in the same turn of the event loop in which the arrangement changes.
TEST_F(ScriptTest, AnEndThatALogonHasHeldUpShowsTheWallThatItLeft)
{
    StartRecorder({"--delay", "1000", "--faults-on", "rendezvous"});
    EXPECT_EQ(Run(LogOn() + QStringList{"--seconds", "1", "--screenshot", File("wall.png")}), SCRIPT_FAILED);
    const QImage picture(File("wall.png"));
    ASSERT_FALSE(picture.isNull());
    // Four empty cells, all alike.
    const auto cell = [&picture](int i) {
        return picture.copy(200 + i % 2 * 300 + 4, 60 + i / 2 * 270 + 4, 290, 260);
    };
    for (int i = 1; i < 4; ++i)
        EXPECT_EQ(cell(i), cell(0)) << i;
}

TEST_F(ScriptTest, ADisplayThatDiesEndsTheProgramWithAMessage)
{
    StartRecorder();
    CVirtualDisplay display;
    m_Environment.insert("DISPLAY", QString::fromStdString(display.Name()));
    Start(LogOn() + QStringList{"--open", "all", "--report", File("report.json")});
    CScreen screen(display.Name());
    WaitMoving(screen);
    display.Kill();
    EXPECT_EQ(End(), DISPLAY_GONE);
    EXPECT_TRUE(m_strErrors.contains("watchwall: the display is gone")) << m_strErrors.toStdString();
    EXPECT_GT(ReadShown()[1], 0) << "the report is written all the same";
    EXPECT_TRUE(m_strOutput.contains("channel 1 \"Channel 1\": 352x288")) << m_strOutput.toStdString();
}

TEST_F(ScriptTest, ADisplayThatStandsStillHoldsUpNoEndAndNoReport)
{
    StartRecorder();
    CVirtualDisplay display;
    m_Environment.insert("DISPLAY", QString::fromStdString(display.Name()));
    Start(LogOn() + QStringList{"--open", "all", "--report", File("report.json")});
    CScreen screen(display.Name());
    WaitMoving(screen);
    display.Stop();
    ASSERT_EQ(::kill(static_cast<pid_t>(m_Process.processId()), SIGTERM), 0);
    EXPECT_EQ(End(), DISPLAY_GONE);
    EXPECT_TRUE(m_strErrors.contains("watchwall: the display does not answer")) << m_strErrors.toStdString();
    EXPECT_EQ(ReadShown().size(), 4) << "the report is written all the same";
    EXPECT_EQ(m_strOutput.count("channel 1 \"Channel 1\""), 1) << m_strOutput.toStdString();
}

}  // namespace
