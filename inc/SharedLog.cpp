#include "inc/SharedLog.h"

#include <dlfcn.h>

#include <set>
#include <string>

#include "inc/CxLog.h"
#include "inc/LogLine.h"
#include "inc/Mutex.h"

namespace
{

// The program's log begins with its first line, whoever writes it.
void Write(const char* file, const char* function, std::int32_t line, std::int32_t level, const char* message)
{
    if (CxLog* const log = CxLog::Find())
        log->Log(file, function, line, static_cast<ELogLevel>(level), "%s", message);
}

const char* Path()
{
    const CxLog* const log = CxLog::Find();
    return log != nullptr ? log->GetPath().c_str() : "";
}

// Never destroyed: link threads may tell their last while the process ends.
bool IsNewsHere(const char* message)
{
    static auto& mutex = *new CMutex;
    static auto& told = *new std::set<std::string>;
    const CMutexLock lock(mutex);
    return told.insert(message).second;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) const SharedLog* watchwall_shared_log()
{
    static constexpr SharedLog SHARED{sizeof(SharedLog), [] { return CxLog::Find() != nullptr; }, Write, Path,
                                      IsNewsHere};
    return &SHARED;
}

const SharedLog* FindSharedLog()
{
    void* const symbol = ::dlsym(RTLD_DEFAULT, "watchwall_shared_log");
    const auto find = reinterpret_cast<const SharedLog* (*)()>(symbol);
    if (find == nullptr || find == &watchwall_shared_log) return nullptr;
    const SharedLog* const shared = find();
    return shared != nullptr && shared->size >= sizeof(SharedLog) ? shared : nullptr;
}

bool IsNews(const std::string& message)
{
    const SharedLog* const shared = FindSharedLog();
    return shared != nullptr ? shared->isNews(message.c_str()) : IsNewsHere(message.c_str());
}
