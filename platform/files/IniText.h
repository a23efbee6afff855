#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The text of an ini file in memory, read and changed by the rules that profile.h states. Any bytes are a
/// valid text. A line ends at its line feed; for its meaning it ends at its first NUL byte, and blanks (a
/// carriage return is one) around it don't count. A line is one of
///   "[name] ..."   opens a section, named by what stands before the first ']', without the blanks around it
///   "key = value"  belongs to the section above it; a key is not empty
/// and everything else (comments, empty lines, text without '=') has no meaning and is kept. Of two sections,
/// or two keys of one section, with the same name the first counts.
class CIniText
{
  public:
    explicit CIniText(std::string text = {});

    /// The value without the blanks and then without one pair of quotes around it; false when there is none.
    bool Find(std::string_view section, std::string_view key, std::string& value) const;

    bool HasSection(std::string_view section) const;
    /// Names in their order and spelling, repeated ones included.
    std::vector<std::string> SectionNames() const;
    std::vector<std::string> KeyNames(std::string_view section) const;

    /// Sets the value; a new key follows the last line of its section that isn't empty, a new section at
    /// the end. False, and nothing changes, when a line could not be read back: a line break or NUL byte in any
    /// text, a ']' in the section, a key that is empty, contains '=' or begins with ';' or '['.
    bool Set(std::string_view section, std::string_view key, std::string_view value);

    /// Take out the key's line, or all lines of the section with its comments. Nothing to take out is fine.
    void RemoveKey(std::string_view section, std::string_view key);
    void RemoveSection(std::string_view section);

    const std::string& Text() const { return m_strText; }

  private:
    struct Line;
    struct Section;

    Line LineAt(std::size_t begin) const;
    bool FindSection(std::string_view name, Section& section) const;
    bool FindKey(const Section& section, std::string_view key, Line& line) const;
    void InsertLine(std::size_t at, std::string_view line);

    std::string m_strText;
    std::string_view m_LineEnd;
};
