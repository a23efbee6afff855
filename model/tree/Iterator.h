#pragma once

class CNode;

/// A walk over nodes. The caller's loop is always: while HasNext(), read CurrentItem(), work, Next(). HasNext()
/// must come before CurrentItem(), since it is what leaves exhausted levels. Removing nodes during a walk isn't
/// safe: collect the pointers first, remove afterwards.
class CIterator
{
  public:
    CIterator() = default;
    virtual ~CIterator() = default;
    CIterator(const CIterator&) = delete;
    CIterator& operator=(const CIterator&) = delete;

    virtual void First() = 0;
    virtual void Next() = 0;
    virtual bool HasNext() = 0;
    /// The node at which the walk stands; null when the walk is exhausted, and for a null entry of a folder
    /// that was read from an archive.
    virtual CNode* CurrentItem() = 0;
};
