#include "recorder/protocol/Endpoint.h"

namespace recorder
{

std::string AddressText(uint32_t address)
{
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        if (!text.empty()) text += '.';
        text += std::to_string((address >> shift) & 0xFF);
    }
    return text;
}

std::string EndpointText(const Endpoint& endpoint)
{
    return AddressText(endpoint.address) + ":" + std::to_string(endpoint.port);
}

}  // namespace recorder
