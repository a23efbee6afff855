#include <signal.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QWidget>

#include "tests/host/program_support.h"
#include "tests/support/virtual_display.h"

namespace
{

constexpr int NO_DISPLAY = 7;
constexpr int NO_GRID = 255;

TEST_F(ProgramTest, RegistersTheControlShowsItAndWritesItsPicture)
{
    EXPECT_EQ(Run(Home() + QStringList{"--seconds", "1", "--screenshot", File("wall.png")}), 0)
        << m_strErrors.toStdString();
    EXPECT_TRUE(m_strOutput.contains("shown after")) << m_strOutput.toStdString();
    const QImage picture(File("wall.png"));
    EXPECT_GE(picture.width(), 800);
    EXPECT_GE(picture.height(), 600);
    EXPECT_EQ(picture.pixelColor(picture.width() / 2, 4), QColor(0xC5, 0xC5, 0xC5))
        << "the main panel's ground";
    QFile registry(File("registry.ini"));
    ASSERT_TRUE(registry.open(QIODevice::ReadOnly));
    EXPECT_TRUE(registry.readAll().contains("ActiveX.ActiveXCtrl.1"));
}

TEST_F(ProgramTest, EndsTidilyWhenAskedTo)
{
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        m_strOutput.clear();
        // Whoever runs the tests may have it ignored.
        m_Process.setChildProcessModifier([number] { ::signal(number, SIG_DFL); });
        Start(Home() + QStringList{"--screenshot", File("end.png")});
        ASSERT_TRUE(WaitShown());
        ASSERT_EQ(::kill(static_cast<pid_t>(m_Process.processId()), number), 0);
        EXPECT_EQ(End(), 0) << m_strErrors.toStdString();
        EXPECT_FALSE(QImage(File("end.png")).isNull()) << "the picture is taken before any end";
        QFile::remove(File("end.png"));
    }
    QFile profile(File("user/watchwall/profile.ini"));
    ASSERT_TRUE(profile.open(QIODevice::ReadOnly));
    EXPECT_TRUE(profile.readAll().contains("Geometry=")) << "the window's place is kept";
}

TEST_F(ProgramTest, BeginsWithTheSizeThatWasKept)
{
    const QSize size(900, 700);
    QWidget former;
    former.resize(size);
    QDir(m_Folder.path()).mkpath("user/watchwall");
    QFile profile(File("user/watchwall/profile.ini"));
    ASSERT_TRUE(profile.open(QIODevice::WriteOnly));
    profile.write("[Container]\nGeometry=" + former.saveGeometry().toBase64() + "\n");
    profile.close();
    EXPECT_EQ(Run(Home() + QStringList{"--seconds", "1", "--screenshot", File("wall.png")}), 0)
        << m_strErrors.toStdString();
    EXPECT_EQ(QImage(File("wall.png")).size(), size);
}

TEST_F(ProgramTest, EndsInFullScreenToo)
{
    EXPECT_EQ(Run(Home() + QStringList{"--full-screen", "--seconds", "2"}), 0) << m_strErrors.toStdString();
}

TEST_F(ProgramTest, ScalesOnAHighDensityDisplay)
{
    m_Environment.insert("QT_SCALE_FACTOR", "1.5");
    EXPECT_EQ(Run(Home() + QStringList{"--seconds", "1", "--screenshot", File("wall.png")}), 0)
        << m_strErrors.toStdString();
    const QImage picture(File("wall.png"));
    EXPECT_EQ(picture.size(), QSize(1200, 900));
    const QColor ground(0xC5, 0xC5, 0xC5);
    const QColor outline(0x32, 0x32, 0x32);
    EXPECT_EQ(picture.pixelColor(700, 88), ground);
    EXPECT_EQ(picture.pixelColor(700, 91), outline) << "the grid begins at 60 pixels of the layout";
    EXPECT_EQ(picture.pixelColor(301, 600), outline) << "and at 200 from the left";
    EXPECT_NE(picture.pixelColor(700, 300), ground);
}

TEST_F(ProgramTest, AMissingThemeIsReportedWithWhatToDo)
{
    QFile::remove(File("home/config/skin.smf"));
    EXPECT_EQ(Run(Home() + QStringList{"--seconds", "1"}), 3);
    EXPECT_TRUE(m_strErrors.contains("home/config/skin.smf")) << m_strErrors.toStdString();
    EXPECT_TRUE(m_strErrors.contains("WATCHWALL_DEBUG")) << m_strErrors.toStdString();
}

TEST_F(ProgramTest, AFaultyLayoutIsReportedAndNothingIsThrown)
{
    QFile::remove(File("home/config/main_layout_800x600.xml"));
    EXPECT_EQ(Run(Home() + QStringList{"--seconds", "1"}), 3);
    EXPECT_FALSE(m_strErrors.isEmpty());
}

TEST_F(ProgramTest, AMissingModuleIsReported)
{
    EXPECT_EQ(Run(Home() + QStringList{"--seconds", "1", "--module", File("nothing.ocx")}), 3);
    EXPECT_TRUE(m_strErrors.contains("nothing.ocx")) << m_strErrors.toStdString();
    EXPECT_TRUE(m_strErrors.contains("--module")) << m_strErrors.toStdString();
}

TEST_F(ProgramTest, AModuleWithoutTheEntriesIsReported)
{
    QFile other(File("other.ocx"));
    ASSERT_TRUE(other.open(QIODevice::WriteOnly));
    other.write("no module");
    other.close();
    EXPECT_EQ(Run(Home() + QStringList{"--seconds", "1", "--module", other.fileName()}), 3);
    EXPECT_TRUE(m_strErrors.contains("other.ocx")) << m_strErrors.toStdString();
}

TEST_F(ProgramTest, ARegistrationOfAnotherModuleIsTakenOver)
{
    QFile registry(File("registry.ini"));
    ASSERT_TRUE(registry.open(QIODevice::WriteOnly));
    registry.write(
        "[ProgID]\nActiveX.ActiveXCtrl.1={B7A4C7DE-9D0F-4F5E-9F52-61F0D3A8E7C2}\n"
        "[CLSID\\{B7A4C7DE-9D0F-4F5E-9F52-61F0D3A8E7C2}]\nInprocServer32=c:\\gone\\activex.ocx\n");
    registry.close();
    EXPECT_EQ(Run(Home() + QStringList{"--seconds", "1"}), 0) << m_strErrors.toStdString();
    ASSERT_TRUE(registry.open(QIODevice::ReadOnly));
    EXPECT_FALSE(registry.readAll().contains("gone"));
}

// A module of another install, registered by its own program.
TEST_F(ProgramTest, AnotherInstallsLivingRegistrationStaysAndTheOwnModuleIsUsed)
{
    QDir(m_Folder.path()).mkdir("other");
    const QString other = File("other/activex.ocx");
    ASSERT_TRUE(QFile::copy(WATCHWALL_MODULE, other));
    EXPECT_EQ(Run(Home() + QStringList{"--register", "--module", other}), 0) << m_strErrors.toStdString();
    EXPECT_EQ(m_strOutput, QStringLiteral("watchwall: %1 is registered as ActiveX.ActiveXCtrl.1 in %2\n")
                               .arg(other, File("registry.ini")));
    const QByteArray before = Registry();
    ASSERT_TRUE(QFile::rename(other, File("other/moved.ocx")));
    ASSERT_TRUE(QFile(other).open(QIODevice::WriteOnly)) << "there, and of no use: it must not be loaded";
    EXPECT_EQ(Run(Home() + QStringList{"--seconds", "1"}), 0) << m_strErrors.toStdString();
    EXPECT_EQ(Run(Home() + QStringList{"--seconds", "1", "--module", WATCHWALL_MODULE}), 0)
        << m_strErrors.toStdString();
    EXPECT_EQ(Registry(), before);
}

TEST_F(ProgramTest, RegisterAndUnregisterSayWhatTheyDoAndNeedNoDisplay)
{
    m_Environment.remove("DISPLAY");
    const QString own = QFileInfo(QStringLiteral(WATCHWALL_MODULE)).canonicalFilePath();
    const QString where = " in " + File("registry.ini");
    EXPECT_EQ(Run(Home() + QStringList{"--unregister"}), 0);
    EXPECT_EQ(m_strOutput, "watchwall: nothing is registered as ActiveX.ActiveXCtrl.1" + where + '\n');
    m_strOutput.clear();
    EXPECT_EQ(Run(Home() + QStringList{"--register"}), 0);
    EXPECT_EQ(m_strOutput, "watchwall: " + own + " is registered as ActiveX.ActiveXCtrl.1" + where + '\n');

    // It takes another one's place when it is asked to, and says so.
    QDir(m_Folder.path()).mkdir("other");
    const QString other = File("other/activex.ocx");
    ASSERT_TRUE(QFile::copy(WATCHWALL_MODULE, other));
    m_strOutput.clear();
    EXPECT_EQ(Run(Home() + QStringList{"--register", "--module", other}), 0);
    EXPECT_TRUE(m_strOutput.endsWith(where + ", in place of " + own + '\n')) << m_strOutput.toStdString();
    m_strOutput.clear();
    EXPECT_EQ(Run(Home() + QStringList{"--unregister"}), 0);
    EXPECT_EQ(m_strOutput, "watchwall: " + other + " is no longer registered" + where + '\n');
    EXPECT_FALSE(Registry().contains("ActiveX.ActiveXCtrl.1"));

    m_Environment.insert("WATCHWALL_REGISTRY", "/dev/null/registry.ini");
    EXPECT_EQ(Run(Home() + QStringList{"--register"}), 3);
    EXPECT_TRUE(m_strErrors.contains("/dev/null/registry.ini")) << m_strErrors.toStdString();
    EXPECT_EQ(Run({"--register", "--unregister"}), 2);
}

TEST_F(ProgramTest, ARegistryThatCannotBeWrittenIsToldAndCostsNoRun)
{
    m_Environment.insert("WATCHWALL_REGISTRY", "/dev/null/registry.ini");
    EXPECT_EQ(Run(Home() + QStringList{"--seconds", "1"}), 0);
    EXPECT_TRUE(m_strErrors.contains("/dev/null/registry.ini")) << m_strErrors.toStdString();
    m_strErrors.clear();
    EXPECT_EQ(Run({"--register"}), 3);
    EXPECT_TRUE(m_strErrors.contains("/dev/null/registry.ini")) << m_strErrors.toStdString();
}

TEST_F(ProgramTest, FilesThatCannotBeWrittenAreReportedBeforeTheRunBegins)
{
    for (const char* option : {"--screenshot", "--report"}) {
        EXPECT_EQ(Run(Home() + QStringList{option, File("no/such/folder.out")}), 4);
        EXPECT_TRUE(m_strErrors.contains("folder.out: No such file or directory")) << m_strErrors.toStdString();
        EXPECT_FALSE(m_strOutput.contains("shown after"));
    }
}

TEST_F(ProgramTest, AFullDiskIsReportedWithItsReason)
{
    for (const char* option : {"--screenshot", "--report"}) {
        m_strErrors.clear();
        EXPECT_EQ(Run(Home() + QStringList{"--seconds", "1", option, "/dev/full"}), 4);
        EXPECT_TRUE(m_strErrors.contains("/dev/full: No space left on device")) << m_strErrors.toStdString();
    }
}

// The code is what the grid's failure ends the process with.
TEST_F(ProgramTest, WithoutARendererARunWithoutAUserEndsWithASentence)
{
    constexpr int MINUS_ONE = 255;
    m_Environment.insert("LC_ALL", "C");
    for (const char* render : {"1", "2", "3", "4"}) {
        SCOPED_TRACE(render);
        m_strErrors.clear();
        // Without a driver to load there is no device for the first.
        m_Environment.insert("__EGL_VENDOR_LIBRARY_FILENAMES", File("no_driver.json"));
        QFile settings(File("home/config/system.ini"));
        ASSERT_TRUE(settings.open(QIODevice::WriteOnly));
        settings.write(QByteArray("[System]\nRender=") + render + "\n");
        settings.close();
        EXPECT_EQ(Run(Home() + QStringList{"--seconds", "1"}), MINUS_ONE);
        EXPECT_TRUE(m_strErrors.contains("watchwall: the video grid can't be made"))
            << m_strErrors.toStdString();
        const char* const step = *render == '1' ? "watchwall: eglGetDisplay failed: EGL error 0x"
                                                : "watchwall: there is no renderer ";
        EXPECT_TRUE(m_strErrors.contains(step)) << m_strErrors.toStdString();
        // The renderer's message box is a line.
        EXPECT_EQ(m_strErrors.contains("watchwall: The 3D graphics system is not available."), *render == '1')
            << m_strErrors.toStdString();
    }
    EXPECT_EQ(Run(Home() + QStringList{"--report", File("report.json")}), MINUS_ONE);
    EXPECT_EQ(Run(Home() + QStringList{"--screenshot", File("wall.png")}), MINUS_ONE);
}

TEST_F(ProgramTest, AHomeThatIsNoFolderIsWrongUse)
{
    EXPECT_EQ(Run({"--home", File("nowhere")}), 2);
    EXPECT_TRUE(m_strErrors.contains("nowhere"));
}

TEST_F(ProgramTest, WithoutADisplayItSaysSo)
{
    m_Environment.remove("DISPLAY");
    m_Environment.insert("QT_QPA_PLATFORM", "xcb");
    EXPECT_EQ(Run(Home()), NO_DISPLAY);
    EXPECT_TRUE(m_strErrors.contains("display"));
}

TEST_F(ProgramTest, WithADisplayThatCannotBeReachedItSaysSo)
{
    m_Environment.insert("DISPLAY", "/nowhere:0");
    for (const char* platform : {"xcb", "xcb:", ""}) {
        m_Environment.insert("QT_QPA_PLATFORM", platform);
        EXPECT_EQ(Run(Home()), NO_DISPLAY) << platform;
        EXPECT_TRUE(m_strErrors.contains("can't connect to the display /nowhere:0"));
    }
}

TEST_F(ProgramTest, OnAWindowSystemWithoutXWindowsItSaysThatTheGridCannotBeMade)
{
    m_Environment.remove("DISPLAY");
    m_Environment.insert("QT_QPA_PLATFORM", "offscreen");
    EXPECT_EQ(Run(Home() + QStringList{"--seconds", "1"}), NO_GRID);
    EXPECT_TRUE(m_strErrors.contains("the video grid can't be made")) << m_strErrors.toStdString();
}

// Link threads may be inside the module then.
TEST_F(ProgramTest, WithoutItsDisplayItEndsBeforeTheModuleIsTakenDown)
{
    const QStringList arguments = Home() + QStringList{"--module", WATCHWALL_ENDING_MODULE};
    EXPECT_EQ(Run(arguments + QStringList{"--seconds", "1"}), 0);
    EXPECT_TRUE(m_strErrors.contains("the module is taken down")) << "as at any other end";
    m_strErrors.clear();
    m_strOutput.clear();
    CVirtualDisplay display;
    m_Environment.insert("DISPLAY", QString::fromStdString(display.Name()));
    Start(arguments);
    ASSERT_TRUE(WaitShown());
    display.Kill();
    EXPECT_EQ(End(), NO_DISPLAY);
    EXPECT_TRUE(m_strErrors.contains("watchwall: the display is gone")) << m_strErrors.toStdString();
    EXPECT_FALSE(m_strErrors.contains("the module is taken down")) << m_strErrors.toStdString();
}

TEST_F(ProgramTest, ADisplayThatGoesWhileTheControlIsLoadedIsReportedAndTheReportWritten)
{
    m_Environment.insert("ENDS_WHILE_LOADING", "1");
    EXPECT_EQ(Run(Home() + QStringList{"--module", WATCHWALL_ENDING_MODULE, "--report", File("report.json")}),
              NO_DISPLAY);
    EXPECT_TRUE(m_strErrors.contains("watchwall: the display is gone")) << m_strErrors.toStdString();
    QFile report(File("report.json"));
    ASSERT_TRUE(report.open(QIODevice::ReadOnly));
    EXPECT_TRUE(report.readAll().contains("\"channels\": [\n    ]"));
}

TEST_F(ProgramTest, HelpVersionAndWrongUseNeedNoDisplay)
{
    m_Environment.remove("DISPLAY");
    EXPECT_EQ(Run({"--help"}), 0);
    EXPECT_TRUE(m_strOutput.contains("--screenshot"));
    EXPECT_EQ(Run({"--version"}), 0);
    EXPECT_TRUE(m_strOutput.contains("watchwall 0."));
    EXPECT_EQ(Run({"--nonsense"}), 2);
    EXPECT_TRUE(m_strErrors.contains("nonsense"));
}

}  // namespace
