#pragma once

#include "platform/os/threads.h"

/// A renderer's critical section, which the end of the process takes and keeps: link threads go on until then,
/// and a frame that begins after the graphics driver has taken down its own objects would end in a crash. A
/// frame in progress is waited for, for a second at most. At any time from any thread.
class CDrawingEnd
{
  public:
    explicit CDrawingEnd(CCriticalSection& section);
    ~CDrawingEnd();
    CDrawingEnd(const CDrawingEnd&) = delete;
    CDrawingEnd& operator=(const CDrawingEnd&) = delete;

    /// To be called whenever the driver may have got new objects, which are then taken down later than this
    /// acts.
    static void Watch();

  private:
    CCriticalSection& m_csRender;
};
