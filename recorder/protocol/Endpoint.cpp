#include "recorder/protocol/Endpoint.h"

namespace recorder
{

std::string AddressText(uint32_t dwAddress)
{
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        if (!text.empty()) text += '.';
        text += std::to_string((dwAddress >> shift) & 0xFF);
    }
    return text;
}

std::string EndpointText(const XEndpoint& endpoint)
{
    return AddressText(endpoint.m_dwAddress) + ":" + std::to_string(endpoint.m_usPort);
}

}  // namespace recorder
