#include "platform/files/IniText.h"

#include <algorithm>
#include <utility>

#include "platform/os/ascii.h"

namespace
{

constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
constexpr std::string_view NOT_IN_A_LINE{"\r\n\0", 3};

constexpr std::string_view NOTHING_TO_SEE = " \t\r\v\f\n";

bool FitsOneLine(std::string_view text)
{
    return text.find_first_of(NOT_IN_A_LINE) == std::string_view::npos;
}

std::string_view WithoutQuotes(std::string_view value)
{
    const bool quoted =
        value.size() >= 2 && value.front() == value.back() && (value.front() == '"' || value.front() == '\'');
    return quoted ? value.substr(1, value.size() - 2) : value;
}

}  // namespace

// Views into m_strText, valid until it changes.
struct CIniText::Line {
    std::size_t begin = 0;
    std::size_t end = 0;  // past the line feed
    bool section = false;
    std::string_view name;   // of the section or key; empty when the line has no meaning
    std::string_view value;  // with its quotes
};

struct CIniText::Section {
    std::size_t begin = 0;  // of its header's line
    std::size_t body = 0;   // past its header's line
    std::size_t end = 0;
};

CIniText::CIniText(std::string text) : m_strText(std::move(text))
{
    const auto feed = m_strText.find('\n');
    const bool dos = feed != std::string::npos && feed > 0 && m_strText[feed - 1] == '\r';
    m_LineEnd = dos ? "\r\n" : "\n";
}

CIniText::Line CIniText::LineAt(std::size_t begin) const
{
    Line line;
    line.begin = begin;
    const auto feed = m_strText.find('\n', begin);
    line.end = feed == std::string::npos ? m_strText.size() : feed + 1;
    std::string_view text = std::string_view(m_strText).substr(begin, line.end - begin);
    if (begin == 0 && text.starts_with(BYTE_ORDER_MARK)) text.remove_prefix(BYTE_ORDER_MARK.size());
    text = text.substr(0, text.find('\0'));
    text = TrimBlanks(text.substr(0, text.find('\n')));
    if (text.starts_with(';')) return line;
    if (text.starts_with('[') && text.find(']') != std::string_view::npos) {
        line.section = true;
        line.name = TrimBlanks(text.substr(1, text.find(']') - 1));
    } else if (const auto equals = text.find('='); !text.starts_with('[') && equals != std::string_view::npos) {
        line.name = TrimBlanks(text.substr(0, equals));
        line.value = TrimBlanks(text.substr(equals + 1));
    }
    return line;
}

bool CIniText::FindSection(std::string_view name, Section& section) const
{
    bool found = false;
    Line line;
    for (std::size_t at = 0; at < m_strText.size(); at = line.end) {
        line = LineAt(at);
        if (!line.section) continue;
        if (found) {
            section.end = at;
            return true;
        }
        if (EqualIgnoringCase(line.name, TrimBlanks(name))) {
            found = true;
            section = {line.begin, line.end, m_strText.size()};
        }
    }
    return found;
}

bool CIniText::FindKey(const Section& section, std::string_view key, Line& line) const
{
    const std::string_view wanted = TrimBlanks(key);
    if (wanted.empty()) return false;
    for (std::size_t at = section.body; at < section.end; at = line.end) {
        line = LineAt(at);
        if (EqualIgnoringCase(line.name, wanted)) return true;
    }
    return false;
}

bool CIniText::Find(std::string_view section, std::string_view key, std::string& value) const
{
    Section found;
    Line line;
    if (!FindSection(section, found) || !FindKey(found, key, line)) return false;
    value = WithoutQuotes(line.value);
    return true;
}

bool CIniText::HasSection(std::string_view section) const
{
    Section found;
    return FindSection(section, found);
}

std::vector<std::string> CIniText::SectionNames() const
{
    std::vector<std::string> names;
    Line line;
    for (std::size_t at = 0; at < m_strText.size(); at = line.end) {
        line = LineAt(at);
        if (line.section) names.emplace_back(line.name);
    }
    return names;
}

std::vector<std::string> CIniText::KeyNames(std::string_view section) const
{
    std::vector<std::string> names;
    Section found;
    if (!FindSection(section, found)) return names;
    Line line;
    for (std::size_t at = found.body; at < found.end; at = line.end) {
        line = LineAt(at);
        if (!line.name.empty()) names.emplace_back(line.name);
    }
    return names;
}

void CIniText::InsertLine(std::size_t at, std::string_view line)
{
    std::string text;
    if (at > 0 && m_strText[at - 1] != '\n') text += m_LineEnd;
    text += line;
    text += m_LineEnd;
    m_strText.insert(at, text);
}

bool CIniText::Set(std::string_view section, std::string_view key, std::string_view value)
{
    const std::string name(TrimBlanks(key));
    if (!FitsOneLine(section) || !FitsOneLine(key) || !FitsOneLine(value)) return false;
    if (section.find(']') != std::string_view::npos || name.empty() || name.find('=') != std::string::npos ||
        name.front() == ';' || name.front() == '[') {
        return false;
    }
    // Blanks around a value would not be read back; written, they would grow with each rewrite.
    value = TrimBlanks(value);
    Section found;
    if (!FindSection(section, found)) {
        std::string header("[");
        header.append(TrimBlanks(section)).push_back(']');
        InsertLine(m_strText.size(), header);
        if (!FindSection(section, found)) return false;
    }
    Line line;
    if (FindKey(found, key, line)) {
        // The key's spelling and the blanks around the sign stay as the user wrote them.
        auto begin = m_strText.find('=', line.begin) + 1;
        if (!line.value.empty()) begin = static_cast<std::size_t>(line.value.data() - m_strText.data());
        m_strText.replace(begin, line.value.size(), value);
        return true;
    }
    std::size_t at = found.body;
    for (std::size_t next = found.body; next < found.end; next = line.end) {
        line = LineAt(next);
        const auto text = std::string_view(m_strText).substr(next, line.end - next);
        if (text.find_first_not_of(NOTHING_TO_SEE) != std::string_view::npos) at = line.end;
    }
    InsertLine(at, name + "=" + std::string(value));
    return true;
}

void CIniText::RemoveKey(std::string_view section, std::string_view key)
{
    Section found;
    Line line;
    if (FindSection(section, found) && FindKey(found, key, line)) {
        m_strText.erase(line.begin, line.end - line.begin);
    }
}

void CIniText::RemoveSection(std::string_view section)
{
    Section found;
    if (!FindSection(section, found)) return;
    // A byte order mark opens the file, not the section.
    const bool mark = found.begin == 0 && m_strText.starts_with(BYTE_ORDER_MARK);
    const std::size_t begin = mark ? BYTE_ORDER_MARK.size() : found.begin;
    m_strText.erase(begin, found.end - begin);
}
