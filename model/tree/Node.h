#pragma once

#include <memory>
#include <string>

#include "model/tree/Iterator.h"

class CFolder;

/// A node of the one tree of all objects that the system knows: settings, stations, devices. The tree has no
/// lock: it is changed on the panels' thread only.
class CNode
{
  public:
    /// All classes of nodes are one family for the archive: a list of nodes may hold any of them.
    using ArchiveRoot = CNode;

    CNode() = default;
    /// Leaves the folder that holds the node, if one does, so that nodes may be deleted in any order.
    virtual ~CNode();
    CNode(const CNode&) = delete;
    CNode& operator=(const CNode&) = delete;

    virtual std::string GetName() { return m_strNodeName; }
    virtual void SetName(std::string name);
    /// Puts `child` after `after` among this node's children, or at the end when `after` is null. True when it
    /// was taken: it is owned from then on. False (always, for a leaf) changes nothing, and the caller keeps
    /// it.
    virtual bool Add(CNode* child, CNode* after);
    /// Deletes `child` if it is a direct child; any other pointer is ignored.
    virtual void Remove(CNode* child);
    virtual bool IsComposite() = 0;
    /// A walk over the direct children; null for a leaf.
    virtual std::unique_ptr<CIterator> CreateIterator() = 0;

    /// A note only: who owns the node is settled by Add, Remove and Replace of the folder.
    void SetParent(CNode* node) { m_pParent = node; }
    CNode* GetParent() const { return m_pParent; }

    /// Takes the node out of the folder that holds it, without deleting it; the caller owns it from then on. A
    /// class whose destructor waits for threads calls this first, so that a walk during the wait doesn't meet
    /// the node.
    void LeaveFolder();

    bool m_bVisible = false;  // the device tree shows this node; false hides all beneath it too

  protected:
    std::string m_strNodeName = "Unknown";

  private:
    friend class CFolder;
    CNode* m_pParent = nullptr;    // not owned
    CFolder* m_pHolder = nullptr;  // the folder whose list owns this node; kept by that folder alone
};
