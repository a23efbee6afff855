#include "tests/activex/home_support.h"

#include <QDir>
#include <QFile>

CTestHome::CTestHome()
{
    const QDir config(QStringLiteral(WATCHWALL_SOURCE_DIR "/config"));
    QDir(m_Directory.path()).mkdir("config");
    for (const QString& name : config.entryList({"*.ini", "*.xml", "*.smf", "*.bmp"}, QDir::Files))
        QFile::copy(config.filePath(name), m_Directory.filePath("config/" + name));
    for (const auto& [name, folder] : {std::pair{"WATCHWALL_HOME", ""},
                                       {"XDG_CONFIG_HOME", "/user"},
                                       {"XDG_DATA_HOME", "/data"},
                                       {"WATCHWALL_REGISTRY", "/registry.ini"}}) {
        m_Former.emplace_back(name, qgetenv(name));
        qputenv(name, (m_Directory.path() + folder).toUtf8());
    }
}

CTestHome::~CTestHome()
{
    for (const auto& [name, value] : m_Former) {
        if (value.isNull())
            qunsetenv(name.constData());
        else
            qputenv(name.constData(), value);
    }
}
