#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "model/tree/CompositeIterator.h"
#include "model/tree/Devices.h"
#include "model/tree/Folder.h"
#include "model/tree/Leaf.h"
#include "model/tree/ListIterator.h"
#include "tests/model/model_support.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

// Counts the objects that are alive.
class CCounted : public CLeaf
{
  public:
    CCounted() { ++s_iAlive; }
    ~CCounted() override { --s_iAlive; }
    static inline int s_iAlive = 0;
};

// When it goes, notes what a walk over `m_pTop` meets at that moment.
class CWitness : public CLeaf
{
  public:
    ~CWitness() override
    {
        if (m_pTop) *m_pSeen = WalkNames(*m_pTop);
    }
    CFolder* m_pTop = nullptr;
    std::vector<std::string>* m_pSeen = nullptr;
};

TEST(Node, IsBornUnknownInvisibleAndWithoutParent)
{
    CLeaf leaf;
    EXPECT_EQ(leaf.GetName(), "Unknown");
    EXPECT_FALSE(leaf.m_bVisible);
    EXPECT_EQ(leaf.GetParent(), nullptr);
}

TEST(Node, GetNameGivesACopy)
{
    CLeaf leaf;
    leaf.SetName("one");
    const std::string name = leaf.GetName();
    leaf.SetName("two");
    EXPECT_EQ(name, "one");
    EXPECT_EQ(leaf.GetName(), "two");
}

TEST(Node, ALeafTakesNothingAndHasNoIterator)
{
    CLeaf leaf;
    CLeaf other;
    EXPECT_FALSE(leaf.Add(&other, nullptr));
    leaf.Remove(&other);
    EXPECT_EQ(other.GetParent(), nullptr);
    EXPECT_FALSE(leaf.IsComposite());
    EXPECT_EQ(leaf.CreateIterator(), nullptr);
}

TEST(Folder, AddWithoutAfterPutsTheChildAtTheEnd)
{
    CFolder folder;
    AddChild<CLeaf>(folder, "a");
    CLeaf* const b = AddChild<CLeaf>(folder, "b");
    EXPECT_THAT(WalkNames(folder), ElementsAre("a", "b"));
    EXPECT_EQ(b->GetParent(), &folder);
    EXPECT_EQ(folder.GetCount(), 2);
    EXPECT_TRUE(folder.IsComposite());
}

TEST(Folder, AddAfterAChildPutsTheNewOneDirectlyAfterIt)
{
    CFolder folder;
    CLeaf* const a = AddChild<CLeaf>(folder, "a");
    AddChild<CLeaf>(folder, "c");
    auto* const b = new CLeaf;
    b->SetName("b");
    EXPECT_TRUE(folder.Add(b, a));
    EXPECT_THAT(WalkNames(folder), ElementsAre("a", "b", "c"));
    EXPECT_EQ(b->GetParent(), &folder);
}

TEST(Folder, AddAfterTheLastChildPutsTheNewOneAtTheEnd)
{
    CFolder folder;
    AddChild<CLeaf>(folder, "a");
    CLeaf* const last = AddChild<CLeaf>(folder, "b");
    auto* const c = new CLeaf;
    c->SetName("c");
    EXPECT_TRUE(folder.Add(c, last));
    EXPECT_THAT(WalkNames(folder), ElementsAre("a", "b", "c"));
}

TEST(Folder, AddAfterAForeignNodeChangesNothingAndLeavesTheChildToTheCaller)
{
    CFolder folder;
    AddChild<CLeaf>(folder, "a");
    CLeaf foreign;
    CLeaf child;
    EXPECT_FALSE(folder.Add(&child, &foreign));
    EXPECT_THAT(WalkNames(folder), ElementsAre("a"));
    EXPECT_EQ(child.GetParent(), nullptr);
}

TEST(Folder, AddAfterAGrandchildIsRefused)
{
    CFolder folder;
    CFolder* const inner = AddChild<CFolder>(folder, "inner");
    CLeaf* const grandchild = AddChild<CLeaf>(*inner, "grandchild");
    CLeaf child;
    EXPECT_FALSE(folder.Add(&child, grandchild));
    EXPECT_EQ(folder.GetCount(), 1);
}

TEST(Folder, RefusesNothingItselfAndWhatStandsAboveIt)
{
    CFolder top;
    CFolder* const middle = AddChild<CFolder>(top, "middle");
    CFolder* const inner = AddChild<CFolder>(*middle, "inner");
    EXPECT_FALSE(top.Add(nullptr, nullptr));
    EXPECT_FALSE(top.Add(&top, nullptr));
    EXPECT_FALSE(inner->Add(middle, nullptr));
    EXPECT_FALSE(inner->Add(&top, nullptr));
    EXPECT_THAT(WalkNames(top), ElementsAre("middle", "inner"));
}

TEST(Folder, ANodeHasOneOwnerWhereverItIsAdded)
{
    CFolder first;
    CFolder second;
    AddChild<CLeaf>(first, "stays");
    CLeaf* const moved = AddChild<CLeaf>(first, "moved");
    EXPECT_TRUE(second.Add(moved, nullptr));
    EXPECT_THAT(WalkNames(first), ElementsAre("stays"));
    EXPECT_THAT(WalkNames(second), ElementsAre("moved"));
    EXPECT_EQ(moved->GetParent(), &second);
}

TEST(Folder, AddingAChildAgainMovesItWithinTheFolder)
{
    CFolder folder;
    CLeaf* const a = AddChild<CLeaf>(folder, "a");
    CLeaf* const b = AddChild<CLeaf>(folder, "b");
    EXPECT_TRUE(folder.Add(a, b));
    EXPECT_THAT(WalkNames(folder), ElementsAre("b", "a"));
    EXPECT_TRUE(folder.Add(b, b));
    EXPECT_THAT(WalkNames(folder), ElementsAre("b", "a"));
    EXPECT_TRUE(folder.Add(b, nullptr));
    EXPECT_THAT(WalkNames(folder), ElementsAre("a", "b"));
}

TEST(Folder, RemoveDeletesADirectChild)
{
    CFolder folder;
    CCounted* const child = AddChild<CCounted>(folder, "a");
    folder.Remove(child);
    EXPECT_EQ(folder.GetCount(), 0);
    EXPECT_EQ(CCounted::s_iAlive, 0);
}

TEST(Folder, RemoveOfAFolderDeletesAllBeneathIt)
{
    CFolder folder;
    CFolder* const inner = AddChild<CFolder>(folder, "inner");
    AddChild<CCounted>(*AddChild<CFolder>(*inner, "deeper"), "a");
    ASSERT_EQ(CCounted::s_iAlive, 1);
    folder.Remove(inner);
    EXPECT_EQ(CCounted::s_iAlive, 0);
}

TEST(Folder, RemoveOfAGrandchildThroughItsGrandparentIsIgnored)
{
    CFolder folder;
    CFolder* const inner = AddChild<CFolder>(folder, "inner");
    CCounted* const grandchild = AddChild<CCounted>(*inner, "grandchild");
    folder.Remove(grandchild);
    EXPECT_EQ(CCounted::s_iAlive, 1);
    EXPECT_THAT(WalkNames(folder), ElementsAre("inner", "grandchild"));
}

TEST(Folder, RemoveOfAForeignNodeOrNothingIsIgnored)
{
    CFolder folder;
    AddChild<CLeaf>(folder, "a");
    CLeaf foreign;
    folder.Remove(&foreign);
    folder.Remove(nullptr);
    EXPECT_EQ(folder.GetCount(), 1);
}

TEST(Folder, ReplacePutsTheNewNodeInThePlaceAndTouchesNoParent)
{
    CFolder folder;
    AddChild<CLeaf>(folder, "a");
    const std::unique_ptr<CCounted> old(AddChild<CCounted>(folder, "b"));
    AddChild<CLeaf>(folder, "c");
    auto* const replacement = new CLeaf;
    replacement->SetName("new");
    folder.Replace(old.get(), replacement);
    EXPECT_THAT(WalkNames(folder), ElementsAre("a", "new", "c"));
    EXPECT_EQ(old->GetParent(), &folder);
    EXPECT_EQ(replacement->GetParent(), nullptr);
    EXPECT_EQ(CCounted::s_iAlive, 1);
}

TEST(Folder, ANodeThatReplacesAnotherLeavesTheFolderThatHoldsIt)
{
    CFolder first;
    CFolder second;
    AddChild<CLeaf>(first, "stays");
    CLeaf* const moved = AddChild<CLeaf>(first, "moved");
    const std::unique_ptr<CLeaf> old(AddChild<CLeaf>(second, "old"));
    second.Replace(old.get(), moved);
    EXPECT_THAT(WalkNames(first), ElementsAre("stays"));
    EXPECT_THAT(WalkNames(second), ElementsAre("moved"));
}

TEST(Folder, ReplaceOfAForeignNodeChangesNothing)
{
    CFolder folder;
    CLeaf* const a = AddChild<CLeaf>(folder, "a");
    CLeaf foreign;
    CLeaf replacement;
    folder.Replace(&foreign, &replacement);
    folder.Replace(a, nullptr);
    folder.Replace(a, &folder);
    folder.Replace(a, a);
    EXPECT_THAT(WalkNames(folder), ElementsAre("a"));
}

TEST(Folder, AReplacedNodeMayOutliveItsFolder)
{
    auto folder = std::make_unique<CFolder>();
    const std::unique_ptr<CCounted> old(AddChild<CCounted>(*folder, "a"));
    folder->Replace(old.get(), new CCounted);
    folder.reset();
    EXPECT_EQ(CCounted::s_iAlive, 1);
}

TEST(Folder, NodesMayBeDeletedInAnyOrder)
{
    auto root = std::make_unique<CFolder>();
    CFolder* const station = AddChild<CFolder>(*root, "station");
    CDevices* const devices = AddChild<CDevices>(*station, "devices");
    AddChild<CCounted>(*devices, "channel");
    delete devices;  // as the panel's shut-down does: the devices, then their station, then the root
    EXPECT_EQ(station->GetCount(), 0);
    delete station;
    EXPECT_EQ(root->GetCount(), 0);
    root.reset();
    EXPECT_EQ(CCounted::s_iAlive, 0);
}

TEST(Folder, AWalkNeverMeetsANodeThatIsGoing)
{
    std::vector<std::string> seen;
    CFolder root;
    AddChild<CLeaf>(root, "stays");
    CFolder* const station = AddChild<CFolder>(root, "station");
    auto* const witness = AddChild<CWitness>(*station, "witness");
    AddChild<CLeaf>(*station, "sibling");
    witness->m_pTop = &root;
    witness->m_pSeen = &seen;
    root.Remove(station);
    EXPECT_THAT(seen, ElementsAre("stays"));
}

TEST(Folder, ANodeCanLeaveItsFolderAlive)
{
    CFolder folder;
    const std::unique_ptr<CLeaf> leaf(AddChild<CLeaf>(folder, "a"));
    leaf->LeaveFolder();
    EXPECT_EQ(folder.GetCount(), 0);
    leaf->LeaveFolder();
}

TEST(CompositeIterator, AWalkOverAnEmptyRootYieldsNothingAndMayEndAtOnce)
{
    CFolder root;
    CCompositeIterator walk(root.CreateIterator());
    EXPECT_FALSE(walk.HasNext());
    EXPECT_EQ(walk.CurrentItem(), nullptr);
    const CCompositeIterator unused(root.CreateIterator());
}

TEST(CompositeIterator, VisitsChildrenDirectlyAfterTheirFolder)
{
    CFolder root;
    CFolder* const a = AddChild<CFolder>(root, "a");
    AddChild<CLeaf>(*a, "a1");
    CFolder* const a2 = AddChild<CFolder>(*a, "a2");
    AddChild<CLeaf>(*a2, "a21");
    AddChild<CLeaf>(*a, "a3");
    AddChild<CLeaf>(root, "b");
    EXPECT_THAT(WalkNames(root), ElementsAre("a", "a1", "a2", "a21", "a3", "b"));
}

TEST(CompositeIterator, VisitsAnEmptyFolderAndGoesOnWithItsSibling)
{
    CFolder root;
    AddChild<CFolder>(root, "empty");
    AddChild<CLeaf>(root, "sibling");
    EXPECT_THAT(WalkNames(root), ElementsAre("empty", "sibling"));
}

TEST(CompositeIterator, FirstDoesNotTakeTheWalkBack)
{
    CFolder root;
    AddChild<CLeaf>(root, "a");
    AddChild<CLeaf>(root, "b");
    CCompositeIterator walk(root.CreateIterator());
    walk.Next();
    walk.First();
    ASSERT_TRUE(walk.HasNext());
    EXPECT_EQ(walk.CurrentItem()->GetName(), "b");
}

TEST(CompositeIterator, HasNextIsWhatLeavesAnExhaustedLevel)
{
    CFolder root;
    CFolder* const inner = AddChild<CFolder>(root, "inner");
    AddChild<CLeaf>(*inner, "last");
    AddChild<CLeaf>(root, "sibling");
    CCompositeIterator walk(root.CreateIterator());
    walk.Next();
    walk.Next();
    EXPECT_EQ(walk.CurrentItem(), nullptr);  // still on the inner level
    ASSERT_TRUE(walk.HasNext());
    EXPECT_EQ(walk.CurrentItem()->GetName(), "sibling");
}

TEST(CompositeIterator, NextOfAnExhaustedWalkDoesNothing)
{
    CFolder root;
    CCompositeIterator walk(root.CreateIterator());
    walk.Next();
    EXPECT_FALSE(walk.HasNext());
}

TEST(CompositeIterator, ALeafGivesAnEmptyWalk)
{
    CLeaf leaf;
    CCompositeIterator walk(leaf.CreateIterator());
    EXPECT_FALSE(walk.HasNext());
    EXPECT_EQ(walk.CurrentItem(), nullptr);
    walk.Next();
}

TEST(ListIterator, WalksOneFolderOnlyAndStartsAgainWithFirst)
{
    CFolder root;
    AddChild<CLeaf>(*AddChild<CFolder>(root, "a"), "a1");
    AddChild<CLeaf>(root, "b");
    const auto walk = root.CreateIterator();
    EXPECT_EQ(walk->CurrentItem()->GetName(), "a");
    walk->Next();
    EXPECT_EQ(walk->CurrentItem()->GetName(), "b");
    walk->Next();
    EXPECT_FALSE(walk->HasNext());
    EXPECT_EQ(walk->CurrentItem(), nullptr);
    walk->First();
    EXPECT_EQ(walk->CurrentItem()->GetName(), "a");
}

TEST(ListIterator, SeesWhatIsAddedAfterIt)
{
    CFolder folder;
    const auto walk = folder.CreateIterator();
    EXPECT_FALSE(walk->HasNext());
    AddChild<CLeaf>(folder, "late");
    EXPECT_TRUE(walk->HasNext());
}

}  // namespace
