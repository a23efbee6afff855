#pragma once

#include <functional>

/// The one wait that keeps the panels alive: runs `work` on a thread of its own and returns when it has ended;
/// what it throws is thrown here. Meanwhile the calling thread serves messages *sent* to its windows, and the
/// toolkit paints and runs the panels' timers. Everything that could change the panels under the caller waits
/// until the call returns: input, commands and other posted messages, closing, and what the host does by
/// timers and sockets. Only calls that the host has queued for its own objects, a timer of 0 ms among them, are
/// served, and the loop that one of them may run, a dialog's for one, has what it needs; one may take the
/// panels' windows down, so a caller looks whether its own still stands.
///
/// On a thread without windows `work` runs on that thread itself.
void RunServing(const std::function<void()>& work);
