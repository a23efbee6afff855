#pragma once

#include <cstdint>

/// Pan, tilt, zoom, focus, iris and what else a camera moves: a start and a stop for each movement. Every
/// operation answers 0, or -1 when it could not be tried. The order of the slots is the interface's own: the
/// soft scan's stop stands before its start. oddity: soft-scan-stop-first
class IPtz
{
  public:
    virtual ~IPtz() = default;
    virtual std::int32_t LeftStart() = 0;
    virtual std::int32_t LeftStop() = 0;
    virtual std::int32_t RightStart() = 0;
    virtual std::int32_t RightStop() = 0;
    virtual std::int32_t UpStart() = 0;
    virtual std::int32_t UpStop() = 0;
    virtual std::int32_t DownStart() = 0;
    virtual std::int32_t DownStop() = 0;
    virtual std::int32_t ScanStart() = 0;
    virtual std::int32_t SoftScanStop() = 0;
    virtual std::int32_t SoftScanStart() = 0;
    virtual std::int32_t ScanStop() = 0;
    virtual std::int32_t ZoomInStart() = 0;
    virtual std::int32_t ZoomInStop() = 0;
    virtual std::int32_t ZoomOutStart() = 0;
    virtual std::int32_t ZoomOutStop() = 0;
    virtual std::int32_t FocusInStart() = 0;
    virtual std::int32_t FocusInStop() = 0;
    virtual std::int32_t FocusOutStart() = 0;
    virtual std::int32_t FocusOutStop() = 0;
    virtual std::int32_t IrisCloseStart() = 0;
    virtual std::int32_t IrisCloseStop() = 0;
    virtual std::int32_t IrisOpenStart() = 0;
    virtual std::int32_t IrisOpenStop() = 0;
    virtual std::int32_t RainStart() = 0;
    virtual std::int32_t RainStop() = 0;
    virtual std::int32_t LightStart() = 0;
    virtual std::int32_t LightStop() = 0;
    // Slots without a meaning hold the order of the interface.
    virtual std::int32_t Slot28(std::uint32_t value) = 0;
    virtual std::int32_t Slot29(std::uint32_t value) = 0;
    virtual std::int32_t Slot30(std::uint32_t value) = 0;
    virtual std::int32_t Slot31(std::uint32_t value) = 0;
    virtual std::int32_t Slot32(std::uint32_t value) = 0;
    virtual std::int32_t Slot33(std::uint32_t value) = 0;
    virtual std::int32_t Slot34(std::uint32_t first, std::uint32_t second) = 0;
    virtual std::int32_t Slot35() = 0;
    virtual std::int32_t Slot36() = 0;
    virtual std::int32_t Slot37() = 0;
    virtual std::int32_t Slot38() = 0;
    virtual std::int32_t Slot39() = 0;
    virtual std::int32_t Slot40() = 0;
    virtual std::int32_t Slot41(std::uint32_t first, std::uint32_t second) = 0;
    virtual std::int32_t Slot42(std::uint32_t first, std::uint32_t second) = 0;
};
