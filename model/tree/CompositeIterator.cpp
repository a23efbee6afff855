#include "model/tree/CompositeIterator.h"

#include <utility>

#include "model/tree/Folder.h"

CCompositeIterator::CCompositeIterator(std::unique_ptr<CIterator> first)
{
    if (first) m_Stack.push_back(std::move(first));
}

bool CCompositeIterator::HasNext()
{
    while (!m_Stack.empty() && !m_Stack.back()->HasNext())
        m_Stack.pop_back();
    return !m_Stack.empty();
}

CNode* CCompositeIterator::CurrentItem()
{
    return m_Stack.empty() ? nullptr : m_Stack.back()->CurrentItem();
}

void CCompositeIterator::Next()
{
    if (!HasNext()) return;
    CNode* const item = m_Stack.back()->CurrentItem();
    m_Stack.back()->Next();
    if (!item || !item->IsComposite()) return;  // spares most nodes the look at the run-time type
    if (auto* const folder = dynamic_cast<CFolder*>(item)) m_Stack.push_back(folder->CreateIterator());
}
