#pragma once

#include <gmock/gmock.h>

#include <QApplication>
#include <QLineEdit>
#include <QMenu>
#include <QTemporaryDir>
#include <QTest>
#include <optional>

#include "activex/UI common/NodeTreeModel.h"
#include "activex/UI common/TreeCtrlEx.h"
#include "activex/UI common/TreeDlg.h"
#include "model/NodeModel.h"
#include "model/tree/Devices.h"
#include "platform/qt/WindowHandle.h"
#include "remote/RemoteStation.h"
#include "remote/TcpRemote.h"
#include "tests/support/model_state.h"

/// What the devices of the running test were asked for, in order.
std::vector<std::string>& TreeCalls();

/// A channel that writes down what it is asked for and stores no parameter, as a channel over P2P does.
class CChannel : public CRemote
{
  public:
    explicit CChannel(std::string name) { SetName(std::move(name)); }
    ~CChannel() override;
    void Open() override;
    void Close() override;
    void StartRecord(std::int32_t reason) override;
    void StopRecord(std::int32_t reason) override;
    void SnapShot() override;
    std::int32_t SetParam(std::int32_t, std::int32_t) override { return 0; }
};

class CTcpChannel : public CTcpRemote
{
  public:
    void Open() override;
};

class CTestStation : public CRemoteStation
{
  public:
    ~CTestStation() override;
    bool Disconnect() override;
};

/// The tree panel in a window of 220 by 500 that notes the messages it gets.
class TreeDlgTest : public testing::Test
{
  protected:
    TreeDlgTest();
    ~TreeDlgTest() override;

    /// A station "1001" with a folder "card" and the channels "a" and "b".
    void AddStation();
    void ShowDialog();
    CTreeCtrlEx& Tree() { return *m_Dlg->GetTree(); }
    QAbstractItemModel& Nodes() { return *Tree().model(); }
    /// The row by its numbers from the top down; invalid when there is none.
    QModelIndex Item(std::initializer_list<int> path);
    std::string Text(std::initializer_list<int> path) { return Item(path).data().toString().toStdString(); }
    int Icon(std::initializer_list<int> path) { return Item(path).data(CNodeTreeModel::STATUS_ROLE).toInt(); }
    void Select(std::initializer_list<int> path) { Tree().setCurrentIndex(Item(path)); }
    void Command(int id) { SendMessageA(m_Dlg->Handle(), WM_COMMAND, static_cast<WPARAM>(id), 0); }
    /// The commands of the menu that a right click at `place` opens, 0 for a separator; none without a menu.
    std::vector<int> MenuAt(const QPoint& place);
    /// Starts to rename the item and returns the edit field.
    QLineEdit* Edit(std::initializer_list<int> path);
    /// The same of a station whose name is longer than the limit of what is typed.
    QLineEdit* EditLongerName();

    QTemporaryDir m_Home;
    const CModelState m_Model{m_Home.path().toStdString()};
    std::unique_ptr<QWidget> m_pParent;
    std::optional<CWindowHandle> m_ParentHandle;
    std::vector<std::pair<std::uint32_t, int>> m_Notices;
    std::optional<CTreeDlg> m_Dlg;
};
