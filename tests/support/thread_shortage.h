#pragma once

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstddef>

/// While it stands, the system has no thread to give: each would need a stack that no memory holds.
class CThreadShortage
{
  public:
    CThreadShortage()
    {
        EXPECT_EQ(::pthread_getattr_default_np(&m_Former), 0);
        pthread_attr_t huge;
        EXPECT_EQ(::pthread_getattr_default_np(&huge), 0);
        EXPECT_EQ(::pthread_attr_setstacksize(&huge, std::size_t{1} << 60), 0);
        EXPECT_EQ(::pthread_setattr_default_np(&huge), 0);
        ::pthread_attr_destroy(&huge);
    }
    ~CThreadShortage()
    {
        EXPECT_EQ(::pthread_setattr_default_np(&m_Former), 0);
        ::pthread_attr_destroy(&m_Former);
    }
    CThreadShortage(const CThreadShortage&) = delete;
    CThreadShortage& operator=(const CThreadShortage&) = delete;

  private:
    pthread_attr_t m_Former;
};
