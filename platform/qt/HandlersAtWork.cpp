#include "platform/qt/HandlersAtWork.h"

#include <utility>
#include <vector>

#include "platform/qt/PanelsThread.h"

namespace
{

int g_iAtWork = 0;  // one inside the other

std::vector<std::function<void()>>& PutOff()
{
    static auto& works = *new std::vector<std::function<void()>>;
    return works;
}

}  // namespace

CHandlerAtWork::CHandlerAtWork()
{
    ASSERT_PANELS_THREAD();
    ++g_iAtWork;
}

CHandlerAtWork::~CHandlerAtWork()
{
    ASSERT_PANELS_THREAD();
    if (--g_iAtWork > 0) return;
    for (const auto& work : std::exchange(PutOff(), {}))
        work();
}

void AfterHandlers(std::function<void()> work)
{
    ASSERT_PANELS_THREAD();
    if (g_iAtWork == 0)
        work();
    else
        PutOff().push_back(std::move(work));
}
