#pragma once

#include <sys/resource.h>

#include <csignal>

/// While it stands, a file of this process that grows beyond so many bytes fails as on a full disk.
class CFileLimit
{
  public:
    explicit CFileLimit(rlim_t bytes) : m_pFormerHandler(std::signal(SIGXFSZ, SIG_IGN))
    {
        ::getrlimit(RLIMIT_FSIZE, &m_Former);
        const rlimit limit{bytes, m_Former.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~CFileLimit()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_Former);
        std::signal(SIGXFSZ, m_pFormerHandler);
    }
    CFileLimit(const CFileLimit&) = delete;
    CFileLimit& operator=(const CFileLimit&) = delete;

  private:
    rlimit m_Former{};
    void (*m_pFormerHandler)(int);
};
