#pragma once

#include <cstdint>
#include <string>

/// Every text that the user sees, by key, from one ini file per language. The language is settled once, by
/// whichever accessor comes first, and stands to process end: what the panel's shut-down deletes has no memory
/// behind it, and neither path nor instance is forgotten, so that late link threads still find their texts.
/// At any time from any thread.
class CLanguage
{
  public:
    /// The singleton, by the "Language" of "config\system.ini"; null when that file or the key isn't there.
    static CLanguage* GetInstance();

    /// The singleton; when there is none yet, it is made for the file "config\<name>.ini", which isn't looked
    /// at.
    static CLanguage* SetLanguage(const std::string& name);

    /// The text for `key`, its backslash-n pairs as line breaks; "Not found" when the key or the file is
    /// missing. Needs no instance.
    static std::string GetString(const std::string& key);

    /// Forgets the language. For tests only: the system settles it once per process.
    static void Reset();

  private:
    CLanguage() = default;
    static CLanguage* Create(std::string path);
};

/// The name of the language for a system's language identifier: "chs", "cht" or "eng".
const char* GetLanguageName(std::uint16_t identifier);
