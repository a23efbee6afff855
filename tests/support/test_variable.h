#pragma once

#include <unistd.h>

#include <cstdlib>
#include <list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// Sets an environment variable (null: takes it away) for the length of a scope. A thread that reads the
/// environment meanwhile, as those of the toolkit do when they begin, reads memory that stays.
class CTestVariable
{
  public:
    CTestVariable(const char* name, const char* value) : m_szName(name)
    {
        if (const char* const former = std::getenv(name)) m_strFormer = former;
        Put(value);
    }
    ~CTestVariable() { Put(m_strFormer ? m_strFormer->c_str() : nullptr); }
    CTestVariable(const CTestVariable&) = delete;
    CTestVariable& operator=(const CTestVariable&) = delete;

  private:
    void Put(const char* value) const
    {
        if (value == nullptr)
            ::unsetenv(m_szName);
        else if (std::getenv(m_szName) == nullptr)
            Add(std::string(m_szName) + "=" + value);
        else
            ::setenv(m_szName, value, 1);
    }

    // setenv would free the list of variables that it outgrows.
    static void Add(std::string variable)
    {
        struct SEnvironment {
            std::string added;
            std::vector<char*> variables;
        };
        static std::list<SEnvironment>& kept = *new std::list<SEnvironment>;  // read until the process is gone
        SEnvironment& next = kept.emplace_back(SEnvironment{std::move(variable), {}});
        for (char** present = environ; *present != nullptr; ++present)
            next.variables.push_back(*present);
        next.variables.insert(next.variables.end(), {next.added.data(), nullptr});
        environ = next.variables.data();
    }

    const char* m_szName;
    std::optional<std::string> m_strFormer;
};
