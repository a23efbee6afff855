#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "platform/os/socket_calls.h"

// The frame that a device speaks on both of its TCP ports: a signed 32-bit length, little-endian, that counts
// itself, then the body. The functions work on a connected stream socket, keep no state and may run on any
// thread.

inline constexpr std::int32_t FRAME_HEADER_BYTES = 4;
/// The longest frame that the functions for texts and binary bodies take.
inline constexpr std::int32_t SHORT_FRAME_LIMIT = 65536;

/// The length field of the frame that begins at `frame`.
std::int32_t GetFrameLength(const std::uint8_t* frame);
void SetFrameLength(std::uint8_t* frame, std::int32_t length);

/// Sends the frame at `frame`, whose length field is filled and true. The bytes sent, 0 on failure; a length of
/// 0 or less sends nothing.
std::int32_t SendFrame(SOCKET socket, const std::uint8_t* frame);

/// The same for a link: a failure after a part was sent answers that part's size, which the link takes for
/// success. oddity: link-partial-send
std::int32_t SendLinkFrame(SOCKET socket, const std::uint8_t* frame);

/// Reads a frame, its length field included, into `buffer`. The length field as it came: 1 to 3 and negative
/// lengths have no body and are passed on. 0 on failure, for a length of 0, and for a frame longer than the
/// buffer, of which nothing but the length field was read then. What failed is reported in the debugger output.
///
/// `whileWaiting` is called whenever a frame has come in part, and each time that the socket's own limit for a
/// read has passed, which ends the call when there is none.
std::int32_t RecvFrame(SOCKET socket, std::span<std::uint8_t> buffer,
                       const std::function<void()>& whileWaiting = {});

/// A text, which has no terminator on the wire. The bytes sent, length field included; 0 on failure.
std::int32_t SendTextFrame(SOCKET socket, std::string_view text);
/// The length field, 0 on failure. The text ends at a zero byte, and is empty when the frame has no body.
std::int32_t RecvTextFrame(SOCKET socket, std::string& text);

std::int32_t SendBinaryFrame(SOCKET socket, std::span<const std::uint8_t> data);
/// The length field, 0 on failure. `out` gets as many bytes as the length says, so 4 more than the body has;
/// these are 0. It must hold SHORT_FRAME_LIMIT bytes. oddity: binary-frame-copies-length
std::int32_t RecvBinaryFrame(SOCKET socket, std::span<std::uint8_t, SHORT_FRAME_LIMIT> out);
