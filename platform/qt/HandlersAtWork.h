#pragma once

#include <functional>

// A handler of a dialog, or a control's start, may be inside a message box, whose loop serves the container
// too: that may end the control meanwhile. The windows go at once then, what the handler itself lives in does
// not. Panels' thread only.

/// Stands while a handler of a dialog, or a control's start, is at work.
class CHandlerAtWork
{
  public:
    CHandlerAtWork();
    /// The outermost one runs what was put off.
    ~CHandlerAtWork();
    CHandlerAtWork(const CHandlerAtWork&) = delete;
    CHandlerAtWork& operator=(const CHandlerAtWork&) = delete;
};

/// Runs `work` once no handler is at work any more: at once when none is. It must not throw.
void AfterHandlers(std::function<void()> work);
