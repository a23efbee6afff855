#pragma once

#include <string>

class CNode;

/// Is notified of changes to devices.
class CObserver
{
  public:
    CObserver() = default;
    virtual ~CObserver() = default;
    CObserver(const CObserver&) = delete;
    CObserver& operator=(const CObserver&) = delete;

    /// `node` tells which node changed, or is null. Called on link threads too, where the node may already be
    /// in its destruction: it identifies the node and must not be dereferenced. `message` is a language key
    /// or empty.
    virtual void Update(CNode* node, std::string message) = 0;
};

// One process-wide sequence of observers. At any time from any thread; no lock is held while an observer runs.

/// Appends the observer; one that is attached twice is notified twice.
void AttachObserver(CObserver* observer);

/// Removes every entry equal to `observer`, and waits until no other thread is inside an Update; messages sent
/// to the waiting thread's windows are served meanwhile.
void DetachObserver(CObserver* observer);

/// Calls Update of every observer, in the order of attaching, unless notifications are disabled.
void Notify(CNode* node, const std::string& message);

/// The switch that gates Notify; on at start.
void EnableNotify();
void DisableNotify();
