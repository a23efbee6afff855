#pragma once

#include <functional>

#include "platform/windows/windows.h"

/// Called by a window's procedure: what answers the message of another thread that it serves, the innermost
/// one, before it returns. The sender goes on from there, and what the procedure answers is not looked at. To
/// be called on the same thread, while the procedure runs.
std::function<void(LRESULT)> AnswerOfServed();
