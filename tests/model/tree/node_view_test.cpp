#include "model/tree/NodeView.h"

#include <gmock/gmock.h>

#include <memory>
#include <vector>

#include "model/tree/Folder.h"
#include "model/tree/Leaf.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

std::vector<const CNode*> g_Deleted;

class CToldLeaf : public CLeaf
{
  public:
    ~CToldLeaf() override { g_Deleted.push_back(this); }
};

// Notes what it is told, and whether the node stood then.
class CNotingView : public CNodeView
{
  public:
    void NodeGoes(const CNode& node) override
    {
        m_Told.push_back(&node);
        EXPECT_THAT(g_Deleted, testing::Not(Contains(&node)));
    }
    std::vector<const CNode*> m_Told;
};

class NodeViewTest : public testing::Test
{
  protected:
    NodeViewTest()
    {
        g_Deleted.clear();
        m_pLeaf = new CToldLeaf;
        m_pFolder = new CFolder;
        m_pFolder->Add(m_pLeaf, nullptr);
        m_pRoot->Add(m_pFolder, nullptr);
    }

    std::unique_ptr<CFolder> m_pRoot = std::make_unique<CFolder>();
    CFolder* m_pFolder;
    CToldLeaf* m_pLeaf;
    CNotingView m_View;
    CNotingView m_Other;
};

TEST_F(NodeViewTest, EveryViewIsNotifiedBeforeARemovedNodeIsDeleted)
{
    const CNode* const leaf = m_pLeaf;
    m_pFolder->Remove(m_pLeaf);
    EXPECT_THAT(m_View.m_Told, ElementsAre(leaf));
    EXPECT_THAT(m_Other.m_Told, ElementsAre(leaf));
    EXPECT_THAT(g_Deleted, ElementsAre(leaf));
}

TEST_F(NodeViewTest, NodeDeletedByItselfIsAnnouncedWhileItsFolderStillHoldsIt)
{
    const CNode* const folder = m_pFolder;
    const CNode* const leaf = m_pLeaf;
    delete m_pFolder;
    EXPECT_THAT(m_View.m_Told, ElementsAre(folder, leaf));
}

TEST_F(NodeViewTest, RootThatGoesTakesEverythingBeneathAlong)
{
    const CNode* const folder = m_pFolder;
    const CNode* const leaf = m_pLeaf;
    m_pRoot.reset();
    EXPECT_THAT(m_View.m_Told, ElementsAre(folder, leaf));
    EXPECT_THAT(g_Deleted, ElementsAre(leaf));
}

TEST_F(NodeViewTest, NodeThatIsReplacedOrLeavesIsAnnounced)
{
    CToldLeaf instead;
    m_pFolder->Replace(m_pLeaf, &instead);
    EXPECT_THAT(m_View.m_Told, ElementsAre(m_pLeaf));
    instead.LeaveFolder();
    EXPECT_THAT(m_View.m_Told, ElementsAre(m_pLeaf, &instead));
    delete m_pLeaf;
    EXPECT_EQ(m_View.m_Told.size(), 2U) << "it was in no folder any more";
}

TEST_F(NodeViewTest, RefusedOperationsNotifyNobody)
{
    CToldLeaf stranger;
    m_pFolder->Remove(&stranger);
    m_pFolder->Remove(nullptr);
    m_pFolder->Replace(&stranger, m_pLeaf);
    EXPECT_THAT(m_View.m_Told, IsEmpty());
}

TEST_F(NodeViewTest, ViewThatIsGoneIsNotNotified)
{
    auto gone = std::make_unique<CNotingView>();
    gone.reset();
    m_pFolder->Remove(m_pLeaf);
    EXPECT_EQ(m_View.m_Told.size(), 1U);
}

}  // namespace
