#pragma once

#include <cstdint>
#include <memory>

#include "model/archive/NamedValue.h"
#include "remote/Device.h"

/// A device that is reached over the network: what the panels ask of it becomes request bits for the link
/// thread.
class CRemote : public CDevice
{
  public:
    /// Only of an open device; one that records already isn't asked.
    void StartRecord(std::int32_t reason) override;
    /// Only of a device that records.
    void StopRecord(std::int32_t reason) override;
    /// Only of a device that isn't closed.
    void SnapShot() override;
    bool CanRecord() override { return true; }

    template <class Archive>
    void Serialize(Archive& archive)
    {
        CDevice::Serialize(archive);
        archive& Named("m_iNetID", m_iNetID) & Named("m_iDevID", m_iDevID);
    }

  protected:
    std::shared_ptr<IPtz>
        m_pPtz;  // null until asked for; a shared pointer because the type is complete elsewhere
};
