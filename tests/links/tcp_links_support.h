#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "recorder/scene/Mark.h"
#include "remote/TcpRemote.h"
#include "tests/links/recorder_support.h"
#include "tests/model/model_support.h"

struct CodecFrame;

/// The number in a decoded picture's corner; nothing when it is damaged beyond reading.
std::optional<recorder::Mark> ReadMark(const CodecFrame& frame);

/// A picture that a link thread has drawn in `window`.
using DrawnPicture = std::function<void(HWND window, const CodecFrame& frame)>;

/// The default renderer over a device in memory. `drawn` is told of every picture that was shown.
std::unique_ptr<CRender> MakeDrawingRender(DrawnPicture drawn);

/// A module directory of the test's own, where devices are reached by the address that they have, and a
/// recorder on a loopback address of this process's own: its ports are fixed.
class CTcpLinksTest : public CModelTest
{
  protected:
    CTcpLinksTest();
    ~CTcpLinksTest() override;

    /// Two channels of 176x144 with numbers in their pictures.
    std::unique_ptr<CRecorderProcess> StartRecorder(const std::vector<std::string>& further = {}) const;
    void Open(CTcpRemote& device, std::int32_t channel = 1) const;

    const std::string m_strAddress;
};

/// What ffprobe tells of the first stream of a recording.
struct ProbedFile {
    bool opens = false;
    std::string codec;
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::string rate;
    std::size_t packets = 0;
};
ProbedFile ProbeFile(const std::string& path);

/// The numbers of a recording's pictures, decoded by ffmpeg. `complaints` gets what it says meanwhile.
std::vector<std::optional<std::uint32_t>> DecodeNumbers(const std::string& path, std::int32_t width,
                                                        std::int32_t height, std::string& complaints);

/// The recordings below a folder, in the order of their names; paths of this machine.
std::vector<std::string> FindRecordings(const std::string& folder);
