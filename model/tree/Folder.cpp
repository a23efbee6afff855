#include "model/tree/Folder.h"

#include <utility>

#include "model/tree/ListIterator.h"
#include "model/tree/NodeView.h"

CFolder::~CFolder()
{
    LeaveFolder();
    Disown();
    const COwnedList<CNode> children = std::exchange(m_list, {});
}

bool CFolder::Add(CNode* child, CNode* after)
{
    if (!child || IsBeneath(child)) return false;
    if (after && m_list.Find(after) == m_list.size()) return false;
    if (child == after) return true;  // it follows itself already

    child->LeaveFolder();
    const std::size_t index = after ? m_list.Find(after) + 1 : m_list.size();
    m_list.Insert(index, std::unique_ptr<CNode>(child));
    child->m_pHolder = this;
    child->SetParent(this);
    return true;
}

void CFolder::Remove(CNode* child)
{
    const std::size_t index = m_list.Find(child);
    if (!child || index == m_list.size()) return;
    TellNodeGoes(*child);
    const std::unique_ptr<CNode> removed = m_list.Take(index);
    removed->m_pHolder = nullptr;
}

std::unique_ptr<CIterator> CFolder::CreateIterator()
{
    return std::make_unique<CListIterator>(m_list);
}

void CFolder::Replace(CNode* old, CNode* replacement)
{
    if (!old || !replacement || old == replacement || IsBeneath(replacement)) return;
    if (m_list.Find(old) == m_list.size()) return;
    TellNodeGoes(*old);
    replacement->LeaveFolder();
    static_cast<void>(m_list.Exchange(m_list.Find(old), std::unique_ptr<CNode>(replacement)).release());
    old->m_pHolder = nullptr;
    replacement->m_pHolder = this;
}

void CFolder::Release(CNode* child)
{
    TellNodeGoes(*child);
    static_cast<void>(m_list.Take(m_list.Find(child)).release());
    child->m_pHolder = nullptr;
}

void CFolder::Disown()
{
    for (std::size_t i = 0; i < m_list.size(); ++i) {
        if (!m_list[i]) continue;
        TellNodeGoes(*m_list[i]);
        m_list[i]->m_pHolder = nullptr;
    }
}

CFolder::CAdoption::CAdoption(CFolder& folder) : m_Folder(folder)
{
    folder.Disown();
}

CFolder::CAdoption::~CAdoption()
{
    for (std::size_t i = 0; i < m_Folder.m_list.size(); ++i) {
        CNode* const child = m_Folder.m_list[i];
        if (!child) continue;
        child->m_pHolder = &m_Folder;
        child->SetParent(&m_Folder);
    }
}

// Whether this folder is `node` or stands beneath it.
bool CFolder::IsBeneath(const CNode* node) const
{
    const CFolder* folder = this;
    while (folder && folder != node)
        folder = folder->m_pHolder;
    return folder != nullptr;
}
