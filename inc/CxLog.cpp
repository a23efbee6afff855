#include "inc/CxLog.h"

#include <sys/time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <deque>
#include <filesystem>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "inc/LogFile.h"
#include "inc/Mutex.h"
#include "inc/OutputDebugString.h"
#include "inc/SharedLog.h"

namespace
{

constexpr std::size_t MESSAGE_CHARACTERS = 1023;
constexpr auto STOP_WAIT = std::chrono::milliseconds(500);
constexpr auto LOCK_LOOK = std::chrono::milliseconds(5);
// 2 s: a process that was stopped within a burst delays the others no longer.
constexpr int LOCK_LOOKS = 400;
constexpr const char* LEVEL_NAMES[] = {"Message", "Warning", "Exception", "Error"};

std::atomic<bool> g_bAlive =
    false;  // the liveness byte of the process's log: read by any thread, cleared at process end

const char* LevelName(ELogLevel level)
{
    const bool known = level >= ELogLevel::Message && level <= ELogLevel::Error;
    return known ? LEVEL_NAMES[static_cast<std::size_t>(level)] : "";
}

std::tm LocalTime(std::time_t seconds)
{
    std::tm local{};
    localtime_r(&seconds, &local);
    return local;
}

std::string TimeText()
{
    timeval now{};
    gettimeofday(&now, nullptr);
    const std::tm local = LocalTime(now.tv_sec);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03d", local.tm_year + 1900,
                  local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                  static_cast<int>(now.tv_usec / 1000));
    return text;
}

const char* FileName(const char* path)
{
    const char* name = path;
    for (const char* at = path; *at != '\0'; ++at) {
        if (*at == '\\' || *at == '/') name = at + 1;
    }
    return name;
}

bool EndsInTwoLineBreaks(const char* line, std::size_t bytes)
{
    return bytes >= 4 && std::memcmp(line + bytes - 4, "\r\n\r\n", 4) == 0;
}

}  // namespace

std::size_t FormatLogEntry(const LogEntry& entry, char (&buffer)[LOG_LINE_BYTES])
{
    const int wanted = std::snprintf(buffer, sizeof buffer, "%s %s %s(%s, %d): %s\r\n", entry.time.c_str(),
                                     LevelName(entry.level), entry.file.c_str(), entry.function.c_str(),
                                     static_cast<int>(entry.line), entry.message.c_str());
    std::size_t bytes = std::min(static_cast<std::size_t>(std::max(wanted, 0)), sizeof buffer - 1);
    if (wanted >= static_cast<int>(sizeof buffer)) std::memcpy(buffer + bytes - 2, "\r\n", 2);
    if (EndsInTwoLineBreaks(buffer, bytes)) bytes -= 2;
    buffer[bytes] = '\0';
    return bytes;
}

// What caller and worker share. Lives until both are done with it.
struct CxLog::State {
    std::string m_strPath;

    CMutex m_csQueue;  // the worker holds it while it writes a burst
    std::deque<std::unique_ptr<LogEntry>> m_Queue GUARDED_BY(m_csQueue);

    CMutex m_csEvents;  // a leaf lock
    std::condition_variable m_Changed;
    bool m_bWake GUARDED_BY(m_csEvents) =
        false;  // resets when the worker takes it: one wake may drain many lines
    bool m_bStop GUARDED_BY(m_csEvents) = false;
    bool m_bEnded GUARDED_BY(m_csEvents) = false;

    CMutex m_csView;  // a leaf lock
    std::int32_t m_iView GUARDED_BY(m_csView) = 0;
    Poster m_pPost GUARDED_BY(m_csView) = nullptr;

    void Run();
    void DrainQueue();
    bool WaitForFile(CLogFile& file);
    bool IsStopped()
    {
        const CMutexLock lock(m_csEvents);
        return m_bStop;
    }
};

// The stop flag comes before the wake flag: a stopped worker leaves what is still queued.
void CxLog::State::Run()
{
    for (;;) {
        CMutexLock lock(m_csEvents);
        lock.Wait(m_Changed, [this]() REQUIRES(m_csEvents) { return m_bWake || m_bStop; });
        if (m_bStop) {
            m_bEnded = true;
            m_Changed.notify_all();
            return;
        }
        m_bWake = false;
        lock.Unlock();
        DrainQueue();
    }
}

// False when the worker is to end. The queue's lock is not held meanwhile: another process's burst delays no
// caller. After the last look the lines are written all the same; in append mode they stay whole.
bool CxLog::State::WaitForFile(CLogFile& file)
{
    for (int look = 0; look < LOCK_LOOKS && !file.TryLock(); ++look) {
        CMutexLock lock(m_csEvents);
        if (lock.WaitFor(m_Changed, LOCK_LOOK, [this]() REQUIRES(m_csEvents) { return m_bStop; })) return false;
    }
    return true;
}

void CxLog::State::DrainQueue()
{
    CLogFile file(m_strPath);
    if (!WaitForFile(file)) return;
    const CMutexLock lock(m_csQueue);
    while (!m_Queue.empty()) {
        char line[LOG_LINE_BYTES];
        file.Append({line, FormatLogEntry(*m_Queue.front(), line)});
        m_Queue.pop_front();
    }
}

CxLog* CxLog::Find()
{
    static std::once_flag once;
    static CxLog* instance = nullptr;  // never deleted: a caller may be inside it when the process ends
    std::call_once(once, [] {
        if (const SharedLog* const shared = FindSharedLog()) {
            instance = new CxLog(*shared);
            return;
        }
        g_bAlive = true;
        instance = new CxLog(GetLogDirectory());
        instance->m_pAlive = &g_bAlive;
        std::atexit([] { instance->Stop(); });
    });
    return instance->IsAlive() ? instance : nullptr;
}

CxLog& CxLog::Instance()
{
    CxLog* const log = Find();
    if (log == nullptr) {
        OutputDebugStringA("CxLog has destroy!");
        throw std::runtime_error("CxLog has destroy!");
    }
    return *log;
}

CxLog::CxLog(const std::string& directory) : m_pAlive(nullptr), m_pState(std::make_shared<State>())
{
    std::string folder = directory.empty() ? "." : directory;
    if (folder.back() != '/') folder += '/';
    std::error_code error;
    std::filesystem::create_directories(folder,
                                        error);  // an existing one is no failure, another is not reported
    m_pState->m_strPath = MakeLogPath(folder, LocalTime(std::time(nullptr)));
    m_Worker = std::thread([state = m_pState] { state->Run(); });
}

CxLog::CxLog(const SharedLog& shared)
    : m_pAlive(nullptr), m_pShared(&shared), m_pState(std::make_shared<State>())
{
    m_pState->m_strPath = shared.path();
}

CxLog::~CxLog()
{
    Stop();
}

bool CxLog::IsAlive() const
{
    return m_pShared != nullptr ? m_pShared->isAlive() : m_pAlive == nullptr || *m_pAlive;
}

void CxLog::Stop()
{
    if (m_pAlive != nullptr) *m_pAlive = false;
    if (!m_Worker.joinable()) return;
    bool ended = false;
    {
        State& state = *m_pState;
        CMutexLock lock(state.m_csEvents);
        state.m_bStop = true;
        state.m_Changed.notify_all();
        ended = lock.WaitFor(state.m_Changed, STOP_WAIT,
                             [&]() REQUIRES(state.m_csEvents) { return state.m_bEnded; });
    }
    // A worker that hangs in the file system is left behind; it holds the state and nothing of this object.
    if (ended)
        m_Worker.join();
    else
        m_Worker.detach();
}

void CxLog::Log(const char* file, const char* function, std::int32_t line, ELogLevel level, const char* format,
                ...)
{
    char message[MESSAGE_CHARACTERS + 1];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    Enqueue(file, function, line, level, message);
}

void CxLog::LogError(const char* file, const char* function, std::int32_t line, std::int32_t errorCode)
{
    char message[MESSAGE_CHARACTERS + 1];
    const std::string text = std::system_category().message(errorCode);
    std::snprintf(message, sizeof message, "(%d):%s", static_cast<int>(errorCode), text.c_str());
    Enqueue(file, function, line, ELogLevel::Error, message);
}

void CxLog::Enqueue(const char* file, const char* function, std::int32_t line, ELogLevel level,
                    const char* message)
{
    if (m_pShared != nullptr) {
        m_pShared->write(file, function, line, static_cast<std::int32_t>(level), message);
        return;
    }
    auto entry = std::make_unique<LogEntry>();
    entry->time = TimeText();
    if (file != nullptr) {
        entry->file = FileName(file);
        entry->line = line;
    }
    entry->function = function != nullptr ? function : "";
    entry->level = level;
    entry->message = message;

    char text[LOG_LINE_BYTES];
    const std::size_t bytes = FormatLogEntry(*entry, text);
    OutputDebugStringA(std::string_view(text, bytes));

    State& state = *m_pState;
    std::int32_t view = 0;
    Poster post = nullptr;
    {
        const CMutexLock lock(state.m_csView);
        view = state.m_iView;
        post = state.m_pPost;
    }
    if (view != 0 && post != nullptr) {
        auto copy = std::make_unique<LogEntry>(*entry);
        if (post(view, VIEW_MESSAGE, copy.get()))
            static_cast<void>(copy.release());  // the window's from here on
    }
    if (state.IsStopped()) return;  // nobody would take it out of the queue
    {
        const CMutexLock lock(state.m_csQueue);
        state.m_Queue.push_back(std::move(entry));
    }
    const CMutexLock lock(state.m_csEvents);
    if (!state.m_bWake) {
        state.m_bWake = true;
        state.m_Changed.notify_all();
    }
}

void CxLog::SetView(std::int32_t window, Poster post)
{
    const CMutexLock lock(m_pState->m_csView);
    m_pState->m_iView = window;
    m_pState->m_pPost = post;
}

const std::string& CxLog::GetPath() const
{
    return m_pState->m_strPath;
}
