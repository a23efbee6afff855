#include "tests/links/tcp_links_support.h"

#include <unistd.h>

#include "render/Render.h"

CTcpLinksTest::CTcpLinksTest()
    : m_strAddress("127.65." + std::to_string(::getpid() / 250 % 250) + "." +
                   std::to_string(1 + ::getpid() % 250))
{
    // Nothing listens at the directory's port, so a device is reached by the address that it has.
    m_Folder.Write("config/system.ini",
                   "[System]\nDirectoryServer=127.0.0.1\nDirectoryPort=9\nStandardChroma=1\nRecordPath=" +
                       m_Folder.System("rec") + "\n");
}

CTcpLinksTest::~CTcpLinksTest()
{
    SetRenderFactory({});
    ReleaseRender();
}

std::unique_ptr<CRecorderProcess> CTcpLinksTest::StartRecorder(const std::vector<std::string>& further) const
{
    std::vector<std::string> arguments{"--listen",    m_strAddress, "--control-port", "10060",
                                       "--data-port", "10061",      "--mark",         "--channels",
                                       "2",           "--size",     "176x144"};
    arguments.insert(arguments.end(), further.begin(), further.end());
    return std::make_unique<CRecorderProcess>(arguments);
}

void CTcpLinksTest::Open(CTcpRemote& device, std::int32_t channel) const
{
    device.m_strNetAddress = m_strAddress;
    device.m_iDevID = channel;
    device.Open();
}
