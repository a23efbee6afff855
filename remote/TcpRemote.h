#pragma once

#include <cstdint>
#include <string>

#include "model/archive/NamedValue.h"
#include "remote/Remote.h"

/// What a link asks of the far side.
inline constexpr std::int32_t MODE_LIVE_MPEG4 = 0;
inline constexpr std::int32_t MODE_QUERY = 1;
inline constexpr std::int32_t MODE_PLAYBACK = 2;
inline constexpr std::int32_t MODE_LIVE_H264 = 3;

/// A device that streams over one TCP connection.
class CTcpRemote : public CRemote
{
  public:
    /// A live channel.
    CTcpRemote() = default;
    /// A device for playback, which stays out of the device tree.
    CTcpRemote(std::int32_t mode, std::int32_t recordId);

    std::int32_t GetMode() const { return m_iMode; }
    std::int32_t GetRecordID() const { return m_iRecordID; }

    template <class Archive>
    void Serialize(Archive& archive)
    {
        CRemote::Serialize(archive);
        archive& Named("m_strNetAddress", m_strNetAddress);
    }

    std::string m_strNetAddress;  // the device's name or dotted address; a lookup doesn't change it

  private:
    std::int32_t m_iMode = MODE_LIVE_H264;
    std::int32_t m_iRecordID = -1;  // the record to play
};
