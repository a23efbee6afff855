#include <signal.h>

#include <QFile>

#include "tests/host/program_support.h"
#include "tests/links/recorder_support.h"
#include "tests/support/virtual_display.h"

// Hosts that are not ours end as they like, with the control's windows still there.

namespace
{

class ForeignHostTest : public ProgramTest
{
  protected:
    void SetUp() override
    {
        ProgramTest::SetUp();
        m_Environment.insert("LC_ALL", "C");
        m_Environment.insert("WATCHWALL_HOME", File("home"));
        m_pRecorder = std::make_unique<CRecorderProcess>(
            std::vector<std::string>{"--size", "352x288", "--fps", "25", "--loop", "1"});
        QFile settings(File("home/config/system.ini"));
        ASSERT_TRUE(settings.open(QIODevice::WriteOnly));
        settings.write(QStringLiteral("[System]\nDirectoryPort=%1\nRendezvousPort=%2\nSharedReceive=1\n")
                           .arg(m_pRecorder->GetEndpoints().directoryPort)
                           .arg(m_pRecorder->GetEndpoints().rendezvousPort)
                           .toUtf8());
    }
    void StartHost(int controls, const QString& end, bool playing, const char* module = WATCHWALL_MODULE)
    {
        m_strOutput.clear();
        m_Process.setProcessEnvironment(m_Environment);
        QStringList arguments{module, QString::number(controls), end};
        if (playing) arguments << "1001";
        m_Process.start(QStringLiteral(WATCHWALL_FOREIGN_HOST), arguments);
        ASSERT_TRUE(m_Process.waitForStarted());
    }
    bool WaitReady()
    {
        while (!m_strOutput.contains("ready") && m_Process.waitForReadyRead(60000))
            m_strOutput += QString::fromLocal8Bit(m_Process.readAllStandardOutput());
        return m_strOutput.contains("ready");
    }

    std::unique_ptr<CRecorderProcess> m_pRecorder;
};

TEST_F(ForeignHostTest, EndsInAnyWayWithOneControlOrTwoAndPicturesOnTheScreen)
{
    for (const char* end : {"exit", "static", "quick-exit", "return", "tidy", "tidy-backwards"}) {
        for (const int controls : {1, 2}) {
            for (const bool playing : {false, true}) {
                SCOPED_TRACE(testing::Message()
                             << end << ", controls: " << controls << ", playing: " << playing);
                StartHost(controls, end, playing);
                EXPECT_EQ(End(), 0) << m_strErrors.toStdString();
                EXPECT_TRUE(m_strOutput.contains("ready"));
            }
        }
    }
}

// The module's folder is the one that it was loaded from, wherever the host goes afterwards.
TEST_F(ForeignHostTest, LoadsTheModuleByARelativePathAndChangesItsFolder)
{
    ASSERT_TRUE(QFile::link(WATCHWALL_MODULE, File("home/activex.ocx")));
    m_Environment.remove("WATCHWALL_HOME");
    m_Process.setWorkingDirectory(File("home"));
    StartHost(1, "tidy", true, "./activex.ocx");
    EXPECT_EQ(End(), 0);
    EXPECT_TRUE(m_strOutput.contains("ready")) << m_strErrors.toStdString();
}

// As above, for a home that the environment names.
TEST_F(ForeignHostTest, HasARelativeHomeAndChangesItsFolder)
{
    m_Environment.insert("WATCHWALL_HOME", "home");
    m_Process.setWorkingDirectory(m_Folder.path());
    StartHost(1, "tidy", true);
    EXPECT_EQ(End(), 0);
    EXPECT_TRUE(m_strOutput.contains("ready")) << m_strErrors.toStdString();
}

// While the process ends: the windows take the controls' along, whose panels stay as they are. Nothing is
// played, as no window may be deleted before: of its own accord the toolkit crashes in the last ones then.
TEST_F(ForeignHostTest, HasItsWindowsInStaticStorage)
{
    for (const int controls : {1, 2}) {
        StartHost(controls, "static-windows", false);
        EXPECT_EQ(End(), 0) << m_strErrors.toStdString();
        EXPECT_TRUE(m_strOutput.contains("ready"));
    }
}

// The toolkit ends the process by exit(1) from within its event loop.
TEST_F(ForeignHostTest, LosesItsDisplayWithOneControlOrTwoAndPicturesOnTheScreen)
{
    for (const int controls : {1, 2}) {
        for (const bool playing : {false, true}) {
            SCOPED_TRACE(testing::Message() << "controls: " << controls << ", playing: " << playing);
            CVirtualDisplay display;
            m_Environment.insert("DISPLAY", QString::fromStdString(display.Name()));
            StartHost(controls, "wait", playing);
            ASSERT_TRUE(WaitReady());
            display.Kill();
            EXPECT_EQ(End(), 1) << m_strErrors.toStdString();
        }
    }
}

}  // namespace
