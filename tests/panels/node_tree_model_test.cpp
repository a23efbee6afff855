#include "activex/UI common/NodeTreeModel.h"

#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <QSignalSpy>

#include "model/tree/Devices.h"
#include "remote/Remote.h"

using testing::ElementsAre;

namespace
{

CRemote* MakeChannel(const char* name)
{
    auto* const channel = new CRemote;
    channel->SetName(name);
    return channel;
}

// A folder "card" with the channels "a", "b" and "c", beneath "root"; the toolkit's tester watches each step.
class NodeTreeModelTest : public testing::Test
{
  protected:
    NodeTreeModelTest()
    {
        m_pCard->SetName("card");
        m_pCard->m_bVisible = true;
        for (const char* name : {"a", "b", "c"})
            m_pCard->Add(MakeChannel(name), nullptr);
        m_pRoot->Add(m_pCard, nullptr);
        m_Model.Fill(m_pRoot.get());
    }
    QModelIndex Card() const { return m_Model.index(0, 0); }
    QModelIndex Channel(int number) const { return m_Model.index(number, 0, Card()); }
    CRemote& Remote(int number) const { return *static_cast<CRemote*>(m_Model.NodeOf(Channel(number))); }
    std::vector<std::string> Names() const
    {
        std::vector<std::string> names;
        for (int i = 0; i < m_Model.rowCount(Card()); ++i)
            names.push_back(Channel(i).data().toString().toStdString());
        return names;
    }

    std::unique_ptr<CFolder> m_pRoot = std::make_unique<CFolder>();
    CDevices* m_pCard = new CDevices;
    CNodeTreeModel m_Model;
    QAbstractItemModelTester m_Tester{&m_Model, QAbstractItemModelTester::FailureReportingMode::Fatal};
};

TEST_F(NodeTreeModelTest, HoldsTheVisibleNodesInTheirOrder)
{
    EXPECT_THAT(Names(), ElementsAre("a", "b", "c"));
    EXPECT_EQ(Card().data().toString(), "card");
    EXPECT_EQ(Card().data(CNodeTreeModel::STATUS_ROLE), CNodeTreeModel::NO_STATUS);
    EXPECT_EQ(Channel(0).data(CNodeTreeModel::STATUS_ROLE), STATUS_CLOSED);
    EXPECT_EQ(m_Model.NodeOf(Card()), m_pCard);
    EXPECT_EQ(m_Model.NodeOf({}), nullptr);
    Remote(1).m_bVisible = false;
    m_Model.Fill(m_pRoot.get());
    EXPECT_THAT(Names(), ElementsAre("a", "c"));
    m_Model.Fill(nullptr);
    EXPECT_EQ(m_Model.rowCount(), 0);
}

TEST_F(NodeTreeModelTest, NamesAndStatesStayAsTheyWereTakenUntilTheyAreTakenAnew)
{
    Remote(0).SetName("new");
    Remote(0).SetStatus(STATUS_OPEN);
    EXPECT_THAT(Names(), ElementsAre("a", "b", "c"));
    EXPECT_EQ(Channel(0).data(CNodeTreeModel::STATUS_ROLE), STATUS_CLOSED);
    m_Model.RefreshIcons(Card());
    EXPECT_THAT(Names(), ElementsAre("a", "b", "c")) << "that's of the icons alone";
    EXPECT_EQ(Channel(0).data(CNodeTreeModel::STATUS_ROLE), STATUS_OPEN);
    m_Model.Fill(m_pRoot.get());
    EXPECT_THAT(Names(), ElementsAre("new", "b", "c"));
}

TEST_F(NodeTreeModelTest, RefreshGoesFromTheGivenRowOverItsFollowingSiblings)
{
    for (int i = 0; i < 3; ++i)
        Remote(i).SetStatus(STATUS_RECORDING);
    QSignalSpy changed(&m_Model, &QAbstractItemModel::dataChanged);
    m_Model.RefreshIcons(Channel(1));
    EXPECT_EQ(Channel(0).data(CNodeTreeModel::STATUS_ROLE), STATUS_CLOSED);
    EXPECT_EQ(Channel(1).data(CNodeTreeModel::STATUS_ROLE), STATUS_RECORDING);
    EXPECT_EQ(Channel(2).data(CNodeTreeModel::STATUS_ROLE), STATUS_RECORDING);
    EXPECT_EQ(changed.count(), 2);
    m_Model.RefreshIcons(Channel(1));
    EXPECT_EQ(changed.count(), 2) << "nothing is new";
    m_Model.RefreshIcons({});
    EXPECT_EQ(changed.count(), 2);
}

TEST_F(NodeTreeModelTest, NodeThatIsDeletedTakesItsRowAlongAndTheRestStays)
{
    const QPersistentModelIndex last = Channel(2);
    m_pCard->Remove(m_Model.NodeOf(Channel(1)));
    EXPECT_THAT(Names(), ElementsAre("a", "c"));
    EXPECT_EQ(last.row(), 1);
    m_Model.RefreshIcons(Card());
    delete m_Model.NodeOf(Channel(0));
    EXPECT_THAT(Names(), ElementsAre("c"));
    m_pRoot->Remove(m_pCard);
    EXPECT_EQ(m_Model.rowCount(), 0);
    m_pRoot.reset();
}

TEST_F(NodeTreeModelTest, NodeThatMovesElsewhereIsSeenThereWithTheNextFill)
{
    m_pRoot->Add(m_Model.NodeOf(Channel(0)), nullptr);
    EXPECT_THAT(Names(), ElementsAre("b", "c"));
    m_Model.Fill(m_pRoot.get());
    EXPECT_EQ(m_Model.index(1, 0).data().toString(), "a");
}

TEST_F(NodeTreeModelTest, EditChangesTheTextOfTheRowAlone)
{
    QSignalSpy changed(&m_Model, &QAbstractItemModel::dataChanged);
    EXPECT_TRUE(m_Model.setData(Channel(0), "edited"));
    EXPECT_THAT(Names(), ElementsAre("edited", "b", "c"));
    EXPECT_EQ(Remote(0).GetName(), "a");
    EXPECT_EQ(changed.count(), 1);
    EXPECT_FALSE(m_Model.setData(Channel(0), 2, CNodeTreeModel::STATUS_ROLE));
    EXPECT_FALSE(m_Model.setData({}, "x"));
}

}  // namespace
