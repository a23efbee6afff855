#pragma once

#include <cstdint>

#include "model/archive/NamedValue.h"
#include "model/archive/OwnedList.h"
#include "model/tree/Node.h"

/// A node with children, in order, which it owns.
class CFolder : public CNode
{
  public:
    CFolder() = default;
    /// Deletes all that is beneath. The children are out of every walk before the first of them goes.
    ~CFolder() override;

    /// With an `after` that is no child of this folder, the child isn't added. Refused too: null, and a node
    /// that stands above this folder. A child that another folder holds moves from there.
    bool Add(CNode* child, CNode* after) override;
    void Remove(CNode* child) override;
    bool IsComposite() override { return true; }
    std::unique_ptr<CIterator> CreateIterator() override;

    std::int32_t GetCount() const { return static_cast<std::int32_t>(m_list.size()); }

    /// Puts `replacement` into the place of `old`, if that is a direct child. Neither node's parent is touched
    /// and nothing is deleted: the caller owns `old` from then on.
    void Replace(CNode* old, CNode* replacement);

    template <class Archive>
    void Serialize(Archive& archive)
    {
        const CAdoption adoption(*this);
        archive& Named("m_strNodeName", m_strNodeName) & Named("m_list", m_list);
    }

  private:
    friend class CNode;
    /// While an archive may empty and refill the list, its nodes don't refer to the folder; afterwards those
    /// that are there become its children.
    class CAdoption
    {
      public:
        explicit CAdoption(CFolder& folder);
        ~CAdoption();
        CAdoption(const CAdoption&) = delete;
        CAdoption& operator=(const CAdoption&) = delete;

      private:
        CFolder& m_Folder;
    };

    void Release(CNode* child);
    void Disown();
    bool IsBeneath(const CNode* node) const;

    COwnedList<CNode> m_list;  // entries may be null when read from an archive
};
