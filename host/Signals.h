#pragma once

#include <functional>

/// Calls `handler` on the panels' thread when the process is asked to end (SIGINT, SIGTERM, SIGHUP). A
/// signal that whoever started the process has it ignore, as nohup does, stays ignored. Once a process, on that
/// thread, after the application object was made.
void OnEndRequested(std::function<void()> handler);

/// Whether such a signal has come, though the event loop may not have got round to it. Any thread.
bool IsEndRequested();
