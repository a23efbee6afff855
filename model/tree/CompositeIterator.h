#pragma once

#include <deque>
#include <memory>

#include "model/tree/Iterator.h"

/// Walks everything beneath a node, depth first, each folder before its children. It starts at the children of
/// the node whose CreateIterator() gave the first iterator; that node itself isn't visited.
class CCompositeIterator : public CIterator
{
  public:
    /// A null iterator (a leaf's) makes an empty walk.
    explicit CCompositeIterator(std::unique_ptr<CIterator> first);

    /// Does nothing: the walk can't be taken back.
    void First() override {}
    void Next() override;
    /// Drops the levels that are exhausted.
    bool HasNext() override;
    CNode* CurrentItem() override;

  private:
    std::deque<std::unique_ptr<CIterator>> m_Stack;  // the level of the walk at the back
};
