#include "tests/host/program_support.h"

#include <QDir>
#include <QFile>

#include "tests/support/test_places.h"

void ProgramTest::SetUp()
{
    const QDir config(QString::fromStdString(SourcePath("config")));
    QDir(m_Folder.path()).mkpath("home/config");
    for (const QString& name : config.entryList({"*.ini", "*.xml", "*.smf", "*.bmp"}, QDir::Files))
        QFile::copy(config.filePath(name), File("home/config/" + name));
    m_Environment.insert("XDG_CONFIG_HOME", File("user"));
    m_Environment.insert("XDG_DATA_HOME", File("data"));
    m_Environment.insert("WATCHWALL_REGISTRY", File("registry.ini"));
    m_Environment.insert("WATCHWALL_START_TIME", "1");
    // Under the address sanitizer the leak check of a whole program falls over the ending threads of the
    // graphics driver. The control's own tests look for leaks; here the other checks stay.
    m_Environment.insert("ASAN_OPTIONS", m_Environment.value("ASAN_OPTIONS") + ":detect_leaks=0");
}

void ProgramTest::Start(const QStringList& arguments)
{
    m_Process.setProcessEnvironment(m_Environment);
    m_Process.start(QStringLiteral(WATCHWALL_PROGRAM), arguments);
    ASSERT_TRUE(m_Process.waitForStarted());
}

int ProgramTest::End()
{
    EXPECT_TRUE(m_Process.waitForFinished(60000));
    EXPECT_EQ(m_Process.exitStatus(), QProcess::NormalExit);
    m_strErrors += QString::fromLocal8Bit(m_Process.readAllStandardError());
    m_strOutput += QString::fromLocal8Bit(m_Process.readAllStandardOutput());
    return m_Process.exitCode();
}

QByteArray ProgramTest::Registry() const
{
    QFile file(File("registry.ini"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool ProgramTest::WaitShown()
{
    while (!m_strOutput.contains("shown after") && m_Process.waitForReadyRead(60000))
        m_strOutput += QString::fromLocal8Bit(m_Process.readAllStandardOutput());
    return m_strOutput.contains("shown after");
}
