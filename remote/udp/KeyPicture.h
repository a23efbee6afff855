#pragma once

#include <cstdint>
#include <span>

/// Whether the first picture in an MPEG-4 payload needs no other picture. False when there is none in it.
bool IsKeyPicture(std::span<const std::uint8_t> payload);
