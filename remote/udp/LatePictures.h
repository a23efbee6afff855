#pragma once

#include <cstdint>
#include <span>

#include "inc/EntryCheck.h"

/// The age beyond which a picture isn't live any more, in milliseconds.
inline constexpr std::uint32_t OLDEST_MS = 2000;

/// Whether the first picture in an MPEG-4 payload needs no other picture. False when there is none in it.
bool IsKeyPicture(std::span<const std::uint8_t> payload);

/// Tells which pictures of a channel are skipped so that it stays live: those beyond OLDEST_MS, and what
/// follows one of them up to the next key picture that is younger. To be asked for each payload in order. Link
/// thread only.
class CLatePictures
{
  public:
    /// `ageMs` is counted from the arrival of the payload.
    bool IsSkipped(std::span<const std::uint8_t> payload, std::uint32_t ageMs);

  private:
    [[no_unique_address]] CThreadMark m_LinkThread;
    bool m_bSkipping = false;  // until the next key picture
};
