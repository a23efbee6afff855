#include "remote/UdpRemoteStation.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#else
#include <unistd.h>
#endif

#include <algorithm>
#include <cstdio>
#include <utility>

#include "model/settings/Language.h"
#include "platform/os/system_language.h"
#include "platform/windows/serving.h"
#include "remote/UdpRemote.h"
#include "remote/directory/DirectoryLookup.h"

namespace
{

constexpr std::size_t NUMBER_BYTES = 16;

/// Puts the number into the place of the text's first "%d", which may have a width ("%02d"). The text comes
/// from a file, so it is no format for the library's own routines.
std::string FormatNumber(std::string text, std::int32_t number)
{
    for (auto at = text.find('%'); at != std::string::npos; at = text.find('%', at + 1)) {
        auto end = at + 1;
        while (end < text.size() && end < at + 3 && text[end] >= '0' && text[end] <= '9')
            ++end;
        if (end >= text.size() || text[end] != 'd') continue;
        const bool zeros = text[at + 1] == '0';
        const int width = end == at + 1 ? 0 : text[end - 1] - '0';
        char digits[NUMBER_BYTES];
        std::snprintf(digits, sizeof digits, zeros ? "%0*d" : "%*d", width, number);
        return text.replace(at, end + 1 - at, digits);
    }
    return text;
}

}  // namespace

std::string MachineName(std::uint32_t eax, std::uint32_t ebx, std::uint32_t ecx, std::uint32_t edx)
{
    return std::to_string(static_cast<std::int32_t>((eax << 12) + (ebx << 8) + (ecx << 4) + edx));
}

std::string MachineName()
{
#if defined(__x86_64__) || defined(__i386__)
    std::uint32_t eax = 0;
    std::uint32_t ebx = 0;
    std::uint32_t ecx = 0;
    std::uint32_t edx = 0;
    __get_cpuid(1, &eax, &ebx, &ecx, &edx);
    return MachineName(eax, ebx, ecx, edx);
#else
    return MachineName(0, 0, 0, static_cast<std::uint32_t>(gethostid()));
#endif
}

CUdpRemoteStation::CUdpRemoteStation(Endpoints endpoints, SessionOptions options)
    : m_pEndpoints(std::make_unique<Endpoints>(std::move(endpoints))),
      m_pOptions(std::make_unique<SessionOptions>(std::move(options)))
{
}

CUdpRemoteStation::~CUdpRemoteStation()
{
    LeaveFolder();
    if (m_pSession) m_pSession->Shutdown();
}

bool CUdpRemoteStation::Connect(const std::string& address, std::int32_t /*controlPort*/,
                                std::int32_t /*dataPort*/)
{
    ASSERT_THREAD(m_PanelsThread);
    const Endpoints endpoints = m_pEndpoints ? *m_pEndpoints : ReadEndpoints();
    const std::string ownName = MachineName();
    std::int32_t netID = m_iNetID;
    std::int32_t channelCount = m_iChannelCount;
    bool answered = false;
    // The servers may keep the panels' thread for half a minute and more.
    RunServing([&] {
        answered = LookUpChannels(endpoints, address, netID, channelCount);
        if (!answered) return;
        if (!m_pSession)
            m_pSession = std::make_shared<CP2PSession>(m_pOptions ? *m_pOptions : ReadSessionOptions());
        m_pSession->Start(ownName);
    });
    m_iNetID = netID;
    m_iChannelCount = channelCount;
    return answered;
}

bool CUdpRemoteStation::Logon(const std::string& user, const std::string& password)
{
    ASSERT_THREAD(m_PanelsThread);
    m_strUser = user;
    m_strPassword = password;
    return true;
}

std::unique_ptr<CDevices> CUdpRemoteStation::EnumDevices()
{
    ASSERT_THREAD(m_PanelsThread);
    CLanguage::SetLanguage(GetLanguageName(GetSystemDefaultLangID()));
    auto devices = std::make_unique<CDevices>();
    devices->SetName(CLanguage::GetString("IDS_Card"));
    devices->m_bVisible = true;
    const std::string format = CLanguage::GetString("IDS_RemoteDevice");
    const std::int32_t count = std::min(m_iChannelCount, CHANNEL_LIMIT);
    for (std::int32_t i = 0; i < count; ++i) {
        auto channel = std::make_unique<CUdpRemote>(m_iNetID, m_pSession, m_strUser, m_strPassword);
        channel->SetName(FormatNumber(format, i + 1));
        channel->m_iDevID = i;
        if (devices->Add(channel.get(), nullptr)) static_cast<void>(channel.release());
    }
    return devices;
}
