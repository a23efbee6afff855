#include "tests/panels/tree_dlg_support.h"

#include "platform/os/paths.h"
#include "platform/qt/QtPlatform.h"
#include "render/CellPool.h"

namespace
{

void Called(const std::string& what)
{
    TreeCalls().push_back(what);
}

}  // namespace

std::vector<std::string>& TreeCalls()
{
    static std::vector<std::string> calls;
    return calls;
}

CChannel::~CChannel()
{
    Called("deleted " + GetName());
}

void CChannel::Open()
{
    Called("open " + GetName() + " " + std::to_string(static_cast<int>(GetRenderWnd())));
    SetStatus(STATUS_OPEN);
}

void CChannel::Close()
{
    Called("close " + GetName());
    SetStatus(STATUS_CLOSED);
}

void CChannel::StartRecord(std::int32_t reason)
{
    Called("start " + GetName() + " " + std::to_string(reason));
}

void CChannel::StopRecord(std::int32_t reason)
{
    Called("stop " + GetName() + " " + std::to_string(reason));
}

void CChannel::SnapShot()
{
    Called("snapshot " + GetName());
}

void CTcpChannel::Open()
{
    Called("open tcp " + std::to_string(GetParam(PARAM_RENDER_WND)));
    SetStatus(STATUS_OPEN);
}

CTestStation::~CTestStation()
{
    Called("station deleted");
}

bool CTestStation::Disconnect()
{
    Called("disconnect");
    return true;
}

TreeDlgTest::TreeDlgTest()
{
    StartQtPlatform();
    m_pParent = std::make_unique<QWidget>();
    m_pParent->resize(220, 500);
    m_ParentHandle.emplace(*m_pParent, [this](std::uint32_t message, WPARAM wParam, LPARAM) {
        m_Notices.push_back({message, static_cast<int>(wParam)});
        return LRESULT{0};
    });
    m_pParent->show();
    TreeCalls().clear();
}

TreeDlgTest::~TreeDlgTest()
{
    m_Dlg.reset();
    m_ParentHandle.reset();
    m_pParent.reset();
    RemoveAllCells();
    StopQtPlatform();
}

void TreeDlgTest::AddStation()
{
    auto* const station = new CTestStation;
    station->SetName("1001");
    auto* const devices = new CDevices;
    devices->SetName("card");
    devices->m_bVisible = true;
    devices->Add(new CChannel("a"), nullptr);
    devices->Add(new CChannel("b"), nullptr);
    station->Add(devices, nullptr);
    CNodeModel::GetInstance()->GetRoot()->Add(station, nullptr);
}

void TreeDlgTest::ShowDialog()
{
    m_Dlg.emplace();
    ASSERT_TRUE(m_Dlg->Create(m_pParent.get()));
    m_Dlg->MoveWindow(0, 0, 200, 480);
}

QModelIndex TreeDlgTest::Item(std::initializer_list<int> path)
{
    QModelIndex item;
    for (const int number : path) {
        item = Nodes().index(number, 0, item);
        if (!item.isValid()) break;
    }
    return item;
}

std::vector<int> TreeDlgTest::MenuAt(const QPoint& place)
{
    QContextMenuEvent event(QContextMenuEvent::Mouse, place, Tree().viewport()->mapToGlobal(place));
    QApplication::sendEvent(Tree().viewport(), &event);
    std::vector<int> ids;
    if (auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget())) {
        for (const QAction* action : menu->actions())
            ids.push_back(action->isSeparator() ? 0 : action->data().toInt());
        menu->close();
    }
    return ids;
}

QLineEdit* TreeDlgTest::Edit(std::initializer_list<int> path)
{
    m_pParent->activateWindow();
    EXPECT_TRUE(QTest::qWaitForWindowActive(m_pParent.get()));
    Select(path);
    Command(TREE_COMMAND_RENAME);
    return Tree().findChild<QLineEdit*>();
}

QLineEdit* TreeDlgTest::EditLongerName()
{
    AddStation();
    CNodeModel::GetInstance()->FindByName("1001")->SetName("recorder.example.net");
    ShowDialog();
    return Edit({0});
}
