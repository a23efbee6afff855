#include "platform/windows/serving.h"

#include <atomic>
#include <exception>
#include <memory>

#include "platform/os/threads.h"
#include "platform/windows/message_queue.h"

void RunServing(const std::function<void()>& work)
{
    if (!ThreadHasQueue()) {
        work();
        return;
    }
    const std::shared_ptr<CMessageQueue> queue = MakeThreadQueue();
    std::exception_ptr fault;
    std::atomic<bool> ended = false;
    const HANDLE thread = CreateThread(
        [&, queue] {
            try {
                work();
            } catch (...) {
                fault = std::current_exception();
            }
            ended = true;
            queue->CallWake();
        },
        "panels' work");
    if (thread == nullptr) {
        work();
        return;
    }
    ServeToolkitUntil([&] { return ended.load(); });
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    if (fault) std::rethrow_exception(fault);
}
