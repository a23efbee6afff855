#include "recorder/media/Source.h"

#include <cstdio>

#include "recorder/media/FileSource.h"
#include "recorder/media/LiveSource.h"
#include "recorder/media/SourceText.h"

namespace recorder
{

namespace
{

class SceneSource : public ISource
{
  public:
    SceneSource(const SceneSetup& setup, int channel) : m_Painter(setup, channel) {}
    void Read(int64_t pictureNumber, Picture& picture) override { m_Painter.Draw(pictureNumber, picture); }
    void SetView(const View& view) override { m_Painter.SetView(view); }

  private:
    ScenePainter m_Painter;
};

}  // namespace

std::unique_ptr<ISource> MakeSource(const std::string& spec, const SceneSetup& setup, int channel,
                                    const std::atomic<bool>& stop, IPackets* packets)
{
    if (spec == SCENE) return std::make_unique<SceneSource>(setup, channel);
    if (IsLive(spec))
        return std::make_unique<LiveSource>(spec, setup, channel, stop, LiveSource::Times(), packets);
    return std::make_unique<FileSource>(spec, setup, channel, stop);
}

void SaySource(int channel, const std::string& spec, const std::string& why)
{
    std::fprintf(stderr, "watchwall-recorder: channel %d: %s: %s\n", channel + 1,
                 SourceWithoutSecrets(spec).c_str(), WithoutSecrets(why).c_str());
}

}  // namespace recorder
