#include <gtest/gtest.h>

#include <thread>

#include "model/tree/Leaf.h"
#include "model/tree/NodeView.h"

namespace
{

class CSilentView final : public CNodeView
{
  public:
    void NodeGoes(const CNode&) override {}
};

TEST(NodeViewDeathTest, ViewOfAForeignThreadBesideAnotherEndsACheckedBuild)
{
    const CSilentView view;
    EXPECT_DEBUG_DEATH(std::thread([] { const CSilentView foreign; }).join(), "called on a foreign thread");
}

TEST(NodeViewDeathTest, NodeThatGoesOnAForeignThreadUnderAViewEndsACheckedBuild)
{
    const CSilentView view;
    const CLeaf node;
    EXPECT_DEBUG_DEATH(std::thread([&node] { TellNodeGoes(node); }).join(), "called on a foreign thread");
}

TEST(NodeView, ThreadsTakeTurnsWhileNoViewStands)
{
    std::thread([] { const CSilentView view; }).join();
    const CSilentView view;
    const CLeaf node;
    TellNodeGoes(node);
}

}  // namespace
