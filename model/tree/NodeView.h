#pragma once

class CNode;

/// Shows nodes of the tree, which all panels of a process share. Every view is told before a node is deleted,
/// by the folder that holds it, on every way of deleting. Panels' thread only.
class CNodeView
{
  public:
    /// Is told from here on, until it is destroyed.
    CNodeView();
    virtual ~CNodeView();
    CNodeView(const CNodeView&) = delete;
    CNodeView& operator=(const CNodeView&) = delete;

    /// `node` leaves its folder with all beneath it and may be deleted next, so the view forgets them. The node
    /// may already be in its destructor: it serves to tell nodes apart and is not to be looked into.
    virtual void NodeGoes(const CNode& node) = 0;
};

/// Tells every view. Does nothing, on any thread, while there is none.
void TellNodeGoes(const CNode& node);
