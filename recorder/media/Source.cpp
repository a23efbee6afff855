#include "recorder/media/Source.h"

#include <cstdio>

#include "recorder/media/FileSource.h"
#include "recorder/media/LiveSource.h"
#include "recorder/media/SourceText.h"

namespace recorder
{

namespace
{

class CSceneSource : public ISource
{
  public:
    CSceneSource(const XSceneSetup& setup, int iChannel) : m_Painter(setup, iChannel) {}
    void Read(int64_t iPicture, XPicture& picture) override { m_Painter.Draw(iPicture, picture); }
    void SetView(const XView& view) override { m_Painter.SetView(view); }

  private:
    CScenePainter m_Painter;
};

}  // namespace

std::unique_ptr<ISource> MakeSource(const std::string& spec, const XSceneSetup& setup, int iChannel,
                                    const std::atomic<bool>& bStop, IPackets* pPackets)
{
    if (spec == SCENE) return std::make_unique<CSceneSource>(setup, iChannel);
    if (IsLive(spec))
        return std::make_unique<CLiveSource>(spec, setup, iChannel, bStop, CLiveSource::XTimes(), pPackets);
    return std::make_unique<CFileSource>(spec, setup, iChannel, bStop);
}

void SaySource(int iChannel, const std::string& spec, const std::string& why)
{
    std::fprintf(stderr, "watchwall-recorder: channel %d: %s: %s\n", iChannel + 1, WithoutSecrets(spec).c_str(),
                 WithoutSecrets(why).c_str());
}

}  // namespace recorder
