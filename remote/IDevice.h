#pragma once

#include <cstdint>
#include <vector>

#include "model/tree/Leaf.h"

class IPtz;

/// Ids of SetParam and GetParam.
inline constexpr std::int32_t PARAM_BEGIN_DATE_TIME = 26;
inline constexpr std::int32_t PARAM_END_DATE_TIME = 27;
inline constexpr std::int32_t PARAM_AUTO_RECORD_TYPE = 28;
inline constexpr std::int32_t PARAM_AUTO_RECORD_MODE = 29;
inline constexpr std::int32_t PARAM_RECORD_MODE_AUTO = 30;
inline constexpr std::int32_t PARAM_RENDER_WND = 55;  // a window handle as its number
inline constexpr std::int32_t PARAM_UNKNOWN = -2;     // the answer to every other id

/// Id of SetArray and GetArray: the schedule of automatic recording.
inline constexpr std::int32_t ARRAY_AUTO_RECORD_MODE = 47;

/// A device of a station as the panels see it: a leaf of the tree that can be opened, recorded, photographed
/// and steered. Operations never fail: what a class doesn't support answers null, false or 0. Panels' thread
/// only.
class IDevice : public CLeaf
{
  public:
    virtual void SetStatus(std::int32_t status) = 0;
    virtual std::int32_t GetStatus() = 0;
    virtual void Open() = 0;
    virtual void Close() = 0;
    /// The arguments are reason words (0x10 and 0x40 from the tree), which no device looks at.
    virtual void StartRecord(std::int32_t reason) = 0;
    virtual void StopRecord(std::int32_t reason) = 0;
    virtual void SnapShot() = 0;
    // Slots without a meaning hold the order of the interface and answer 0, false or nothing.
    virtual std::int32_t Slot13() = 0;
    virtual std::int32_t Slot14() = 0;
    virtual void Slot15() = 0;
    virtual void Slot16() = 0;
    /// 1, whatever the id.
    virtual std::int32_t SetArray(std::int32_t id, const std::vector<std::int32_t>& values) = 0;
    /// `value`, or PARAM_UNKNOWN.
    virtual std::int32_t SetParam(std::int32_t id, std::int32_t value) = 0;
    virtual std::int32_t GetArray(std::int32_t id, std::vector<std::int32_t>& values) = 0;
    virtual std::int32_t GetParam(std::int32_t id) = 0;
    /// The device's pan and tilt, which it owns; null when it has none.
    virtual IPtz* GetPtz() = 0;
    virtual void Slot22(std::int32_t first, std::int32_t second) = 0;
    virtual bool Slot23() = 0;  // the grid asks it before it sends parameter 7
    virtual bool CanRecord() = 0;
    virtual bool Slot25() = 0;
    virtual bool Slot26() = 0;
    virtual bool Slot27() = 0;
    virtual void Slot28() = 0;
};
