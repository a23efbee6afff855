#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "remote/ptz/IPtz.h"

/// Turns each call into a text command to the device, which speaks to the camera: fire and forget. A call lasts
/// for the length of a connect, in which the calling thread serves what is sent to its windows.
class CRemotePtz final : public IPtz
{
  public:
    /// `address`: the device's address as it is saved; `devID`: its channel.
    CRemotePtz(std::string address, std::int32_t devID) : m_strAddress(std::move(address)), m_iDevID(devID) {}

    std::int32_t LeftStart() override { return Send("LeftStart"); }
    std::int32_t LeftStop() override { return Send("LeftStop"); }
    std::int32_t RightStart() override { return Send("RightStart"); }
    std::int32_t RightStop() override { return Send("RightStop"); }
    std::int32_t UpStart() override { return Send("UpStart"); }
    std::int32_t UpStop() override { return Send("UpStop"); }
    std::int32_t DownStart() override { return Send("DownStart"); }
    std::int32_t DownStop() override { return Send("DownStop"); }
    std::int32_t ScanStart() override { return Send("ScanStart"); }
    std::int32_t SoftScanStop() override { return Send("SoftScanStop"); }
    std::int32_t SoftScanStart() override { return Send("SoftScanStart"); }
    std::int32_t ScanStop() override { return Send("ScanStop"); }
    std::int32_t ZoomInStart() override { return Send("ZoomInStart"); }
    std::int32_t ZoomInStop() override { return Send("ZoomInStop"); }
    std::int32_t ZoomOutStart() override { return Send("ZoomOutStart"); }
    std::int32_t ZoomOutStop() override { return Send("ZoomOutStop"); }
    std::int32_t FocusInStart() override { return Send("FocusInStart"); }
    std::int32_t FocusInStop() override { return Send("FocusInStop"); }
    std::int32_t FocusOutStart() override { return Send("FocusOutStart"); }
    std::int32_t FocusOutStop() override { return Send("FocusOutStop"); }
    std::int32_t IrisCloseStart() override { return Send("IrisCloseStart"); }
    std::int32_t IrisCloseStop() override { return Send("IrisCloseStop"); }
    std::int32_t IrisOpenStart() override { return Send("IrisOpenStart"); }
    std::int32_t IrisOpenStop() override { return Send("IrisOpenStop"); }
    std::int32_t RainStart() override { return Send("RainStart"); }
    std::int32_t RainStop() override { return Send("RainStop"); }
    std::int32_t LightStart() override { return Send("LightStart"); }
    std::int32_t LightStop() override { return Send("LightStop"); }
    std::int32_t Slot28(std::uint32_t /*value*/) override { return 0; }
    std::int32_t Slot29(std::uint32_t /*value*/) override { return 0; }
    std::int32_t Slot30(std::uint32_t /*value*/) override { return 0; }
    std::int32_t Slot31(std::uint32_t /*value*/) override { return 0; }
    std::int32_t Slot32(std::uint32_t /*value*/) override { return 0; }
    std::int32_t Slot33(std::uint32_t /*value*/) override { return 0; }
    std::int32_t Slot34(std::uint32_t /*first*/, std::uint32_t /*second*/) override { return 0; }
    std::int32_t Slot35() override { return 0; }
    std::int32_t Slot36() override { return 0; }
    std::int32_t Slot37() override { return 0; }
    std::int32_t Slot38() override { return 0; }
    std::int32_t Slot39() override { return 0; }
    std::int32_t Slot40() override { return 0; }
    std::int32_t Slot41(std::uint32_t /*first*/, std::uint32_t /*second*/) override { return 0; }
    std::int32_t Slot42(std::uint32_t /*first*/, std::uint32_t /*second*/) override { return 0; }

  private:
    std::int32_t Send(const char* command) const;

    const std::string m_strAddress;
    const std::int32_t m_iDevID;
};
