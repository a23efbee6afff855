#pragma once

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

/// While it stands, this thread and those that it starts may do to a file what its permissions say, also when
/// the process is root's.
class CPlainRights
{
  public:
    CPlainRights()
    {
        Call(SYS_capget, m_Former);
        auto plain = m_Former;
        plain[0].effective &= ~(1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH);
        Call(SYS_capset, plain);
    }
    ~CPlainRights()
    {
        Header header = HEADER;
        ::syscall(SYS_capset, &header, m_Former.data());
    }
    CPlainRights(const CPlainRights&) = delete;
    CPlainRights& operator=(const CPlainRights&) = delete;

  private:
    using Header = __user_cap_header_struct;
    using Sets = std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3>;
    static constexpr Header HEADER = {_LINUX_CAPABILITY_VERSION_3, 0};

    static void Call(long number, Sets& sets)
    {
        Header header = HEADER;
        if (::syscall(number, &header, sets.data()) != 0) throw std::runtime_error("no rights to change");
    }

    Sets m_Former{};
};
