#pragma once

#include <sys/resource.h>

#include <csignal>
#include <optional>

/// Lowers a limit of this process (RLIMIT_...) for the length of a scope.
class CResourceLimit
{
  public:
    CResourceLimit(int resource, rlim_t limit) : m_iResource(resource)
    {
        ::getrlimit(m_iResource, &m_Former);
        const rlimit lowered{limit, m_Former.rlim_max};
        ::setrlimit(m_iResource, &lowered);
    }
    ~CResourceLimit() { ::setrlimit(m_iResource, &m_Former); }
    CResourceLimit(const CResourceLimit&) = delete;
    CResourceLimit& operator=(const CResourceLimit&) = delete;

  private:
    const int m_iResource;
    rlimit m_Former{};
};

/// While it stands, a file of this process that grows beyond so many bytes fails as on a full disk.
class CFileLimit
{
  public:
    explicit CFileLimit(rlim_t bytes) : m_pFormerHandler(std::signal(SIGXFSZ, SIG_IGN))
    {
        m_Limit.emplace(RLIMIT_FSIZE, bytes);
    }
    ~CFileLimit()
    {
        m_Limit.reset();
        std::signal(SIGXFSZ, m_pFormerHandler);
    }
    CFileLimit(const CFileLimit&) = delete;
    CFileLimit& operator=(const CFileLimit&) = delete;

  private:
    void (*m_pFormerHandler)(int);
    std::optional<CResourceLimit> m_Limit;
};
