#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

struct SharedLog;

/// Levels of a log line.
enum class ELogLevel : std::int32_t { Message, Warning, Exception, Error };

/// One line on its way to the file; owns its texts.
struct LogEntry {
    std::string time;
    std::string file;
    std::string function;
    std::int32_t line = 0;
    ELogLevel level = ELogLevel::Message;
    std::string message;
};

/// The longest formatted line, its line break and a terminator included.
inline constexpr std::size_t LOG_LINE_BYTES = 1024;

/// Formats "time level file function(file, line): message" and a line break into `buffer`. A line
/// that is too long loses the end of its message, never its line break; a message that brings a line break of
/// its own gives no blank line. Returns the bytes of the line without the terminator.
std::size_t FormatLogEntry(const LogEntry& entry, char (&buffer)[LOG_LINE_BYTES]);

/// The process-wide logger: any thread hands it lines, one worker appends them to "log/YYYYMMDD.log" beside the
/// process's executable. No caller ever touches the file; the file is open only while a burst is written, so it
/// can be read, moved or deleted between bursts. It keeps the name of its first day over midnight.
///
/// Logging never fails towards its caller. Write errors are not reported; what is still queued when the process
/// ends is dropped. A process has one log: a module that a program loads writes to the program's. Several
/// processes may write to one file. At any time from any thread.
class CxLog
{
  public:
    /// The message that a view window gets for each line; its second parameter is a LogEntry that it then owns.
    static constexpr std::uint32_t VIEW_MESSAGE = 0xC98;
    /// Posts a message to a window; false when that window is gone (the entry then stays with the log).
    using Poster = bool (*)(std::int32_t window, std::uint32_t message, LogEntry* entry);

    /// The log of this process, made at first use and ended at process end. After that it writes
    /// "CxLog has destroy!" to the debugger output and throws std::runtime_error with the same text. The memory
    /// stays, so that a caller who is inside Log at that moment comes out of it; its line is dropped.
    static CxLog& Instance();

    /// The same, but null after the end.
    static CxLog* Find();

    /// A log of its own in `directory`, which is made when it is missing.
    explicit CxLog(const std::string& directory);
    /// Ends the worker, waiting for it for 500 ms at most; what it has not written by then is dropped.
    ~CxLog();
    CxLog(const CxLog&) = delete;
    CxLog& operator=(const CxLog&) = delete;

    /// Queues one line. `file` is the caller's source path (its folders are cut; null gives no name and line
    /// 0), `function` its name as it shall stand in the log ("CRenderWnd::Init"), `format` as of printf, cut at
    /// 1023 characters. The text goes to the debugger output at once.
    void Log(const char* file, const char* function, std::int32_t line, ELogLevel level, const char* format,
             ...) __attribute__((format(printf, 6, 7)));

    /// Queues "(code):" followed by the system's text for `errorCode` (an errno value), as an error.
    void LogError(const char* file, const char* function, std::int32_t line, std::int32_t errorCode);

    /// Shows every line in a window too, through `post`; window 0, the default, ends that.
    void SetView(std::int32_t window, Poster post);

    /// Full path of the log file, fixed at construction.
    const std::string& GetPath() const;

  private:
    struct State;
    explicit CxLog(const SharedLog& shared);
    void Stop();
    bool IsAlive() const;
    void Enqueue(const char* file, const char* function, std::int32_t line, ELogLevel level,
                 const char* message);

    std::atomic<bool>* m_pAlive;  // static: whether the process's log still lives; null for a log of its own
    const SharedLog* m_pShared = nullptr;  // the program's log, which then gets every line; no state nor worker
    std::shared_ptr<State> m_pState;  // shared with the worker, which may outlive the wait of the destructor
    std::thread m_Worker;
};
