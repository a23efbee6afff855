#include "model/tree/ListIterator.h"

#include "model/tree/Node.h"

bool CListIterator::HasNext()
{
    return static_cast<std::size_t>(m_iIndex) < m_pList->size();
}

CNode* CListIterator::CurrentItem()
{
    return HasNext() ? (*m_pList)[static_cast<std::size_t>(m_iIndex)] : nullptr;
}
