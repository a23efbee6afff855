#include "tests/links/drawing_support.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "codec/codec.h"
#include "render/D3DSurfaceRender.h"
#include "render/device/MemorySurfaceDevice.h"

namespace
{

class CDrawingRender final : public CRender
{
  public:
    explicit CDrawingRender(DrawnPicture drawn)
        : m_Inner([] { return std::make_shared<CMemorySurfaceAdapter>(); }), m_Drawn(std::move(drawn))
    {
        if (m_Inner.Init(HWND::Null) == 0) throw std::runtime_error("the renderer does not start");
    }
    ~CDrawingRender() override { m_Inner.Uninit(); }
    std::int32_t DisplayClient(const CodecFrame* frame, CSurface* surface, HWND window) override
    {
        const std::int32_t result = m_Inner.DisplayClient(frame, surface, window);
        if (surface->m_Showing == EShowing::Shown) m_Drawn(window, *frame);
        return result;
    }
    CSurface* CreateSurface(std::int32_t width, std::int32_t height) override
    {
        return m_Inner.CreateSurface(width, height);
    }
    void DestroySurface(CSurface* surface) override { m_Inner.DestroySurface(surface); }
    std::int32_t SaveSnapshot(std::string path, CSurface* surface) override
    {
        return m_Inner.SaveSnapshot(std::move(path), surface);
    }

  private:
    CD3DSurfaceRender m_Inner;
    const DrawnPicture m_Drawn;
};

}  // namespace

std::optional<recorder::Mark> ReadMark(const CodecFrame& frame)
{
    recorder::Picture corner;
    corner.Resize(recorder::MARK_WIDTH, recorder::MARK_HEIGHT);
    const int top = frame.height - recorder::MARK_HEIGHT;
    for (int row = 0; row < recorder::MARK_HEIGHT; ++row)
        std::copy_n(frame.data[0] + static_cast<std::ptrdiff_t>(top + row) * frame.linesize[0],
                    recorder::MARK_WIDTH,
                    corner.y.begin() + static_cast<std::ptrdiff_t>(row) * recorder::MARK_WIDTH);
    return recorder::ReadMark(corner);
}

std::unique_ptr<CRender> MakeDrawingRender(DrawnPicture drawn)
{
    return std::make_unique<CDrawingRender>(std::move(drawn));
}
