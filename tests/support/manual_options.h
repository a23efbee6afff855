#pragma once

#include <iterator>
#include <regex>
#include <set>
#include <string>

/// The long options that a manual page has an entry for.
inline std::set<std::string> OptionsOfManual(const std::string& page)
{
    // Perhaps behind its short form; a hyphen is written as \-.
    static const std::regex entry(R"re(\n\.TP\n\.B[IR]? (?:\\-[a-z] ", " )?\\-\\-((?:[a-z]|\\-)+))re");
    static const std::regex hyphen(R"(\\-)");
    std::set<std::string> options;
    for (auto at = std::sregex_iterator(page.begin(), page.end(), entry); at != std::sregex_iterator(); ++at)
        options.insert(std::regex_replace((*at)[1].str(), hyphen, "-"));
    return options;
}

/// The long options that a program's help lists.
inline std::set<std::string> OptionsOfHelp(const std::string& help)
{
    static const std::regex line(R"(\n +(?:-[a-z], ?)?--([a-z-]+))");
    std::set<std::string> options;
    for (auto at = std::sregex_iterator(help.begin(), help.end(), line); at != std::sregex_iterator(); ++at)
        options.insert((*at)[1]);
    return options;
}
