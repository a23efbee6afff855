// What the recorder's direct ports read: frames of the control port with their text commands, which move a
// camera, and the stream request of the data port. The first byte says how the rest comes: in pieces of so many
// bytes, and through which port.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "recorder/protocol/Commands.h"
#include "recorder/protocol/Frames.h"

namespace
{

using namespace recorder;

void OnText(const Bytes& body)
{
    const auto command = ParseCommand({reinterpret_cast<const char*>(body.data()), body.size()});
    if (!command) return;
    if (static_cast<int>(command->motor) >= MOTORS || static_cast<int>(command->colour) >= COLOURS)
        std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0) return 0;
    const bool control = (data[0] & 0x80) != 0;
    const size_t piece = 1 + (data[0] & 0x7F);
    std::span<const uint8_t> left(data + 1, size - 1);
    FrameReader reader(control ? MAX_TEXT_FRAME_BYTES : STREAM_REQUEST_BYTES);
    while (!left.empty() && !reader.Damaged()) {
        const size_t count = std::min(piece, left.size());
        reader.Add(left.first(count));
        left = left.subspan(count);
        while (const auto body = reader.Next()) {
            if (body->size() + LENGTH_BYTES > MAX_TEXT_FRAME_BYTES) std::abort();
            if (control)
                OnText(*body);
            else
                ParseDirectRequest(*body);
        }
    }
    return 0;
}
