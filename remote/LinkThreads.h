#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "inc/EntryCheck.h"
#include "platform/os/threads.h"

/// One run of a device's link. It holds all that it uses, so that it may outlive the device's wait.
class ILink
{
  public:
    virtual ~ILink() = default;
    /// The link thread, from start to end.
    virtual void Run() = 0;
    /// Ends every wait of the run. Any thread.
    virtual void Cancel() = 0;
};

/// The thread that runs a device's present link, and those that a Close left behind. Panels' thread only.
class CLinkThreads
{
  public:
    /// Ends the threads that were left behind, then runs the link on a thread of its own; false when there is
    /// none to be had.
    bool Start(std::shared_ptr<ILink> link, const char* name);
    /// Ends the waits of the present link, if there is one.
    void Cancel();
    /// Waits for the present link's end, and then gives up the link; false when it did not come within
    /// `waitMs`. Either way there is no present one afterwards.
    bool PutAside(std::uint32_t waitMs);
    /// Cancels the links that did not end in time and waits until they are gone, serving what they send
    /// meanwhile.
    void EndLate();

  private:
    struct Run {
        std::shared_ptr<ILink> link;
        HANDLE thread = nullptr;
    };
    [[no_unique_address]] CThreadMark m_PanelsThread;
    Run m_Present;
    std::vector<Run> m_Late;
};
