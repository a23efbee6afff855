#include "inc/SharedLog.h"

#include <dlfcn.h>

#include "inc/CxLog.h"

namespace
{

// The program's log begins with its first line, whoever writes it.
void Write(const char* file, const char* function, std::int32_t line, std::int32_t level, const char* message)
{
    if (CxLog* const log = CxLog::Find()) log->Log(file, function, line, level, "%s", message);
}

const char* Path()
{
    const CxLog* const log = CxLog::Find();
    return log != nullptr ? log->GetPath().c_str() : "";
}

}  // namespace

extern "C" __attribute__((visibility("default"))) const SharedLog* watchwall_shared_log()
{
    static constexpr SharedLog shared{sizeof(SharedLog), [] { return CxLog::Find() != nullptr; }, Write, Path};
    return &shared;
}

const SharedLog* FindSharedLog()
{
    void* const symbol = ::dlsym(RTLD_DEFAULT, "watchwall_shared_log");
    const auto find = reinterpret_cast<const SharedLog* (*)()>(symbol);
    if (find == nullptr || find == &watchwall_shared_log) return nullptr;
    const SharedLog* const shared = find();
    return shared != nullptr && shared->size >= sizeof(SharedLog) ? shared : nullptr;
}
