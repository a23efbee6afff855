#include "tests/activex/data_support.h"

#include <QApplication>
#include <QFile>
#include <QIODevice>

#include "model/NodeModel.h"
#include "model/settings/Language.h"
#include "render/D3DSurfaceRender.h"

CDataTest::CDataTest() : m_Former(SetDebugListener([this](std::string_view text) { m_strDebug += text; }))
{
    auto* const made = new CActiveXCtrl;
    m_pDispatch = CComPtr<IDispatch>(made);
    made->Release();
    m_pControl = made;
}

CDataTest::~CDataTest()
{
    m_pDispatch.Reset();
    QCoreApplication::removePostedEvents(qApp, QEvent::Quit);
    SetDebugListener(m_Former);
}

void CDataTest::Write(const char* name, const std::string& text) const
{
    QFile file(m_Home.File(name));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate)) << name;
    ASSERT_EQ(file.write(text.c_str(), static_cast<qint64>(text.size())), static_cast<qint64>(text.size()));
}

std::string CDataTest::Read(const char* name) const
{
    QFile file(m_Home.File(name));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name;
    return file.readAll().toStdString();
}
