#include "model/tree/Node.h"

#include <utility>

#include "model/tree/Folder.h"

CNode::~CNode()
{
    LeaveFolder();
}

void CNode::SetName(std::string name)
{
    m_strNodeName = std::move(name);
}

bool CNode::Add(CNode* /*child*/, CNode* /*after*/)
{
    return false;
}

void CNode::Remove(CNode* /*child*/) {}

void CNode::LeaveFolder()
{
    if (m_pHolder) m_pHolder->Release(this);
}
