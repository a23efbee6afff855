#include "recorder/media/LibAvLog.h"

extern "C" {
#include <libavutil/log.h>
}

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "recorder/media/SourceText.h"

namespace recorder
{

namespace
{

constexpr size_t MOST_KINDS = 256;  // of messages; then there is silence

// "[tcp @ 0x7f00...] " tells more than anybody wants to know.
std::string WithoutAddresses(std::string text)
{
    constexpr std::string_view MARK = " @ 0x";
    for (size_t at = text.find(MARK); at != std::string::npos; at = text.find(MARK, at)) {
        const size_t end = text.find_first_not_of("0123456789abcdef", at + MARK.size());
        text.erase(at, end == std::string::npos ? end : end - at);
    }
    return text;
}

// Words of a camera stand in some of them. Characters beyond ASCII stay, but for their control characters.
std::string WithoutControls(std::string_view text)
{
    std::string shown;
    int following = 0;  // bytes of the character that is begun
    for (size_t at = 0; at < text.size(); ++at) {
        const auto byte = static_cast<unsigned char>(text[at]);
        const bool goesOn = (byte & 0xC0) == 0x80;
        if (goesOn && following > 0) {
            --following;
            shown += text[at];
            continue;
        }
        const auto next = at + 1 < text.size() ? static_cast<unsigned char>(text[at + 1]) : 0;
        const bool wideControl = byte == 0xC2 && next >= 0x80 && next < 0xA0;
        const bool control = byte < ' ' || byte == 0x7F || goesOn || wideControl;
        if (wideControl) ++at;
        shown += control ? '?' : text[at];
        following = control || byte < 0xC0 ? 0 : byte >= 0xF0 ? 3 : byte >= 0xE0 ? 2 : 1;
    }
    return shown;
}

// Numbers don't make a message another one: they are counts and times.
std::string KindOf(const std::string& text)
{
    std::string kind;
    for (const char letter : text)
        if (letter < '0' || letter > '9') kind += letter;
    return kind;
}

void SayOnce(const std::string& line)
{
    const std::string text = WithoutControls(WithoutSecrets(WithoutAddresses(line)));
    static std::mutex mutex;
    static std::set<std::string> said;
    const std::lock_guard lock(mutex);
    if (text.empty() || said.size() >= MOST_KINDS || !said.insert(KindOf(text)).second) return;
    std::fprintf(stderr, "watchwall-recorder: %s\n", text.c_str());
}

// What the messages of one thread have given of a line: some come in several calls.
class Line
{
  public:
    ~Line() { End(false); }
    Line() = default;
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;

    void Add(void* context, int level, const char* format, va_list arguments)
    {
        // Not all messages have an end.
        if (context != m_Context) End(false);
        m_Context = context;
        char part[LONGEST];
        const int length = av_log_format_line2(context, level, format, arguments, part, sizeof part, &m_Ended);
        if (!m_Cut) m_Text += part;
        m_Cut = m_Cut || length >= static_cast<int>(sizeof part) || m_Text.size() > LONGEST;
        if (m_Ended != 0) End(!m_Cut);
    }

  private:
    void End(bool whole)
    {
        m_Ended = 1;
        std::string text = std::exchange(m_Text, {});
        m_Cut = false;
        if (text.size() > LONGEST) text.resize(LONGEST);
        // The '@' that shows what a password is may be cut off; "://" may be a part of it.
        const size_t url = text.find(SCHEME_END);
        if (!whole && url != std::string::npos) text.resize(url + SCHEME_END.size());
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
            text.pop_back();
        SayOnce(text);
    }

    static constexpr size_t LONGEST = 1024;
    static constexpr std::string_view SCHEME_END = "://";
    std::string m_Text;
    void* m_Context = nullptr;
    int m_Ended = 1;  // as libav tells it, and uses it to begin a line
    bool m_Cut = false;
};

void Say(void* context, int level, const char* format, va_list arguments)
{
    if (level > AV_LOG_WARNING) return;
    static thread_local Line line;
    va_list copy;
    va_copy(copy, arguments);
    line.Add(context, level, format, copy);
    va_end(copy);
}

}  // namespace

void SayLibAvWarningsOnce()
{
    av_log_set_callback(Say);
}

}  // namespace recorder
