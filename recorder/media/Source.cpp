#include "recorder/media/Source.h"

#include "recorder/media/FileSource.h"

namespace recorder
{

namespace
{

class CSceneSource : public ISource
{
  public:
    CSceneSource(const XSceneSetup& setup, int iChannel) : m_Painter(setup, iChannel) {}
    void Read(int64_t iPicture, XPicture& picture) override { m_Painter.Draw(iPicture, picture); }

  private:
    CScenePainter m_Painter;
};

}  // namespace

std::unique_ptr<ISource> MakeSource(const std::string& spec, const XSceneSetup& setup, int iChannel,
                                    const std::atomic<bool>& bStop)
{
    if (spec == "scene") return std::make_unique<CSceneSource>(setup, iChannel);
    return std::make_unique<CFileSource>(spec, setup, iChannel, bStop);
}

}  // namespace recorder
