#pragma once

#include <cstdint>
#include <string>

struct CDeviceState;

// One device's recording: the payloads of its stream, as they came, in an AVI file. All of it runs on the
// device's link thread, between two frames; nothing here locks.

/// Begins a recording of an open device and tells "IDS_RecordStarted". An empty path takes the automatic name,
/// and a row of the record table when the recording stops; without a place for it "IDS_NoStoragePath" is told,
/// with no sender. A file that was left open gets its trailer first. False when the device is not open or there
/// is no place; a file that can't be made shows as packets that fail. `codec` is 13 or 28, sizes in pixels,
/// `type` is stored as it comes.
bool StartRecording(CDeviceState& state, std::int32_t codec, std::int32_t width, std::int32_t height,
                    std::int32_t type, std::string path);

/// Ends the recording, if there is one, and tells "IDS_RecordStopped". False when another device of the process
/// is just stopping: try again with the next frame. oddity: one-stop-at-a-time
bool StopRecording(CDeviceState& state);

/// Writes to the recording of a device that records; what the disk says isn't looked at.
void WriteVideo(CDeviceState& state, const std::uint8_t* data, std::int32_t bytes, std::int32_t key);
void WriteAudio(CDeviceState& state, const std::uint8_t* data, std::int32_t bytes);
