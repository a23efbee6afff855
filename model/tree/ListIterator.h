#pragma once

#include <cstdint>

#include "model/archive/OwnedList.h"
#include "model/tree/Iterator.h"

/// Walks the direct children of one folder, which must outlive the walk.
class CListIterator : public CIterator
{
  public:
    explicit CListIterator(const COwnedList<CNode>& list) : m_pList(&list) {}

    void First() override { m_iIndex = 0; }
    void Next() override { ++m_iIndex; }
    bool HasNext() override;
    CNode* CurrentItem() override;

  private:
    const COwnedList<CNode>* m_pList;  // the folder's, not owned
    std::int32_t m_iIndex = 0;
};
