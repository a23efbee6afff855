#pragma once

#include <cstdlib>
#include <optional>
#include <string>

/// Sets an environment variable (null: takes it away) for the length of a scope.
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
        else
            ::setenv(m_szName, value, 1);
    }

    const char* m_szName;
    std::optional<std::string> m_strFormer;
};
