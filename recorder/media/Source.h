#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "recorder/media/LibAv.h"
#include "recorder/scene/Scene.h"

namespace recorder
{

/// Where the pictures of one channel come from. Used by the channel's thread only.
class ISource
{
  public:
    virtual ~ISource() = default;
    /// The picture that number pictureNumber shows; numbers only grow, with gaps when a channel isn't watched
    /// or is late. Never fails: a source that has no picture draws why.
    virtual void Read(int64_t pictureNumber, Picture& picture) = 0;
    /// What the camera makes of the pictures from now on; name, clock and mark stay as they are.
    virtual void SetView(const View& view) = 0;
};

/// Takes what a camera sends, beside its pictures. Called on a thread of the source.
class IPackets
{
  public:
    virtual ~IPackets() = default;
    virtual void Opened(const AVCodecParameters& codec) = 0;
    /// True while somebody watches what is made of them.
    virtual bool OnPacket(const AVPacket& packet) = 0;
};

/// "scene", or anything that libavformat opens: a file (played again and again), a URL, a V4L2 device
/// ("/dev/video0"), or "lavfi:" with a filter graph. Reads that wait, as for a network, end when stop becomes
/// true, but the look-up of a host's name ends when the system gives it up. Stop and packets outlive the
/// source. Packets come from live sources only. A source that can't be opened says so on standard error at
/// once.
std::unique_ptr<ISource> MakeSource(const std::string& spec, const SceneSetup& setup, int channel,
                                    const std::atomic<bool>& stop, IPackets* packets = nullptr);

/// "channel 2: SOURCE: why" on standard error, without what the source's text holds of passwords.
void SaySource(int channel, const std::string& spec, const std::string& why);

}  // namespace recorder
