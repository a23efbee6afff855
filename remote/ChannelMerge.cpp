#include "remote/ChannelMerge.h"

#include <cstdio>
#include <iterator>
#include <memory>

#include "inc/EntryCheck.h"
#include "model/archive/ObjectFactory.h"
#include "model/settings/Language.h"
#include "remote/Device.h"
#include "remote/RemoteClasses.h"

namespace
{

constexpr int CAPABILITY_BITS[] = {0, 1, 2, 9, 10};

CDevice* FindChannel(CDevices& devices, std::int32_t netId, std::int32_t devId)
{
    const auto walk = devices.CreateIterator();
    for (; walk->HasNext(); walk->Next()) {
        auto* const device = dynamic_cast<CDevice*>(walk->CurrentItem());
        if (device && device->m_iNetID == netId && device->m_iDevID == devId) return device;
    }
    return nullptr;
}

CDevice* AddChannel(CDevices& devices, std::int32_t netId, std::int32_t devId)
{
    RegisterRemoteClasses();
    std::unique_ptr<CNode> node(static_cast<CNode*>(FindFactoryByClassName("CDevice")->Create()));
    auto* const device = dynamic_cast<CDevice*>(node.get());
    device->m_iNetID = netId;
    device->m_iDevID = devId;
    char number[16];
    std::snprintf(number, sizeof number, "%02d", devices.GetCount() + 1);
    device->SetName(CLanguage::GetString("IDS_Camera") + number);
    devices.Add(node.release(), nullptr);
    return device;
}

}  // namespace

CDevice* MergeChannel(CDevices& devices, std::int32_t netId, std::int32_t devId, const std::string& address,
                      std::uint32_t capabilities)
{
    static CThreadMark panelsThread;
    ASSERT_THREAD(panelsThread);
    static std::int32_t serial = 0;
    CDevice* device = FindChannel(devices, netId, devId);
    if (!device) device = AddChannel(devices, netId, devId);
    device->m_bVisible = true;
    device->m_Channel.address = address;
    device->m_Channel.serial = serial++;
    for (std::size_t i = 0; i < std::size(CAPABILITY_BITS); ++i) {
        device->m_Channel.capabilities[i] = (capabilities >> CAPABILITY_BITS[i] & 1) != 0;
    }
    return device;
}
