#include "tests/activex/home_support.h"

#include <QDir>
#include <QFile>

#include "tests/support/test_places.h"

CTestHome::CTestHome()
{
    const QDir config(QString::fromStdString(SourcePath("config")));
    QDir(m_Directory.path()).mkdir("config");
    for (const QString& name : config.entryList({"*.ini", "*.xml", "*.smf", "*.bmp"}, QDir::Files))
        QFile::copy(config.filePath(name), m_Directory.filePath("config/" + name));
}
