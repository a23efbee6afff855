#include "model/archive/XmlDepth.h"

#include <algorithm>

namespace
{

// Walks along the text with exactly the parser's view of what ends a name, a tag and a comment. A difference
// would let a nesting go unnoticed: quotes, for example, belong to names unless they follow a '='.
class CDepthScanner
{
  public:
    explicit CDepthScanner(std::string_view text) : m_Text(text.substr(0, text.find('\0'))) {}

    int Scan(int limit)
    {
        while (m_iDeepest <= limit && SkipBehind("<")) {
            if (!ScanMarkup()) break;
        }
        return m_iDeepest;
    }

  private:
    static constexpr std::string_view BLANKS = " \n\r\t";
    static constexpr std::string_view BEHIND_NODE_NAME = " \n\r\t/>?";
    static constexpr std::string_view BEHIND_ATTRIBUTE_NAME = " \n\r\t/<>=?!";

    // Each returns false at the end of the text.
    bool SkipBehind(std::string_view what)
    {
        const std::size_t at = m_Text.find(what);
        if (at == std::string_view::npos) return false;
        m_Text.remove_prefix(at + what.size());
        return true;
    }
    bool SkipWhile(std::string_view characters)
    {
        m_Text.remove_prefix(std::min(m_Text.find_first_not_of(characters), m_Text.size()));
        return !m_Text.empty();
    }
    bool SkipUntil(std::string_view characters)
    {
        m_Text.remove_prefix(std::min(m_Text.find_first_of(characters), m_Text.size()));
        return !m_Text.empty();
    }
    bool Take(std::string_view what)
    {
        if (!m_Text.starts_with(what)) return false;
        m_Text.remove_prefix(what.size());
        return true;
    }

    // After a '<'. False where the parser gives up.
    bool ScanMarkup()
    {
        if (Take("/")) {
            --m_iDepth;
            return SkipUntil(BEHIND_NODE_NAME) && SkipWhile(BLANKS) && Take(">");
        }
        if (Take("!--")) return SkipBehind("-->");
        if (Take("![CDATA[")) return SkipBehind("]]>");
        if (m_Text.starts_with("!DOCTYPE") && m_Text.size() > 8 &&
            BLANKS.find(m_Text[8]) != std::string_view::npos) {
            return SkipDoctype();
        }
        if (Take("!")) return SkipBehind(">");
        if (Take("?")) return SkipBehind("?>");
        return ScanElement();
    }

    bool SkipDoctype()
    {
        int brackets = 0;
        while (SkipUntil(brackets ? "[]" : "[>")) {
            const char found = m_Text.front();
            m_Text.remove_prefix(1);
            if (found == '>') return true;
            brackets += found == '[' ? 1 : -1;
        }
        return false;
    }

    bool ScanElement()
    {
        m_iDeepest = std::max(m_iDeepest, ++m_iDepth);
        if (!SkipUntil(BEHIND_NODE_NAME)) return false;
        while (SkipWhile(BLANKS)) {
            if (Take(">")) return true;
            if (Take("/")) {
                --m_iDepth;
                return Take(">");
            }
            if (!SkipAttribute()) return false;
        }
        return false;
    }

    bool SkipAttribute()
    {
        const std::size_t before = m_Text.size();
        if (!SkipUntil(BEHIND_ATTRIBUTE_NAME) || m_Text.size() == before) return false;
        if (!SkipWhile(BLANKS) || !Take("=") || !SkipWhile(BLANKS)) return false;
        if (Take("\"")) return SkipBehind("\"");
        return Take("'") && SkipBehind("'");
    }

    std::string_view m_Text;  // what lies ahead, up to the first zero byte, where the parser ends
    int m_iDepth = 0;
    int m_iDeepest = 0;
};

}  // namespace

int GetXmlDepth(std::string_view text, int limit)
{
    return CDepthScanner(text).Scan(limit);
}
