#pragma once

#include "model/archive/NamedValue.h"
#include "model/tree/Node.h"

/// A node without children.
class CLeaf : public CNode
{
  public:
    bool IsComposite() override { return false; }
    std::unique_ptr<CIterator> CreateIterator() override { return nullptr; }

    template <class Archive>
    void Serialize(Archive& archive)
    {
        archive& Named("m_strNodeName", m_strNodeName);
    }
};
