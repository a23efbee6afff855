#pragma once

#include <string>

#include "model/archive/NamedValue.h"
#include "remote/Station.h"

/// A station with the address that the operator entered.
class CRemoteStation : public CStation
{
  public:
    template <class Archive>
    void Serialize(Archive& archive)
    {
        CStation::Serialize(archive);
        archive& Named("m_PrimitiveAddr", m_PrimitiveAddr);
    }

    std::string m_PrimitiveAddr;
};
