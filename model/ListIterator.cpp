#include "model/ListIterator.h"

#include "model/Node.h"

bool CListIterator::HasNext()
{
    return static_cast<std::size_t>(m_iIndex) < m_pList->size();
}

CNode* CListIterator::CurrentItem()
{
    return HasNext() ? (*m_pList)[static_cast<std::size_t>(m_iIndex)] : nullptr;
}
