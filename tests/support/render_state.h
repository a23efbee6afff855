#pragma once

#include <memory>
#include <utility>

#include "render/CellPool.h"
#include "render/D3DSurfaceRender.h"
#include "render/Render.h"
#include "render/device/MemorySurfaceDevice.h"

/// What render/ keeps for the whole process (factory, renderer, cells), put back at the end. A fixture's
/// member; what still draws ends before it.
class CRenderState
{
  public:
    /// The renderer that is chosen by the settings.
    CRenderState() = default;
    explicit CRenderState(CRenderFactory factory) { SetRenderFactory(std::move(factory)); }
    /// The default renderer on `adapter`.
    explicit CRenderState(std::shared_ptr<CMemorySurfaceAdapter> adapter)
        : CRenderState(CRenderFactory([adapter = std::move(adapter)] {
              return std::make_unique<CD3DSurfaceRender>([adapter] { return adapter; });
          }))
    {
    }
    ~CRenderState()
    {
        ReleaseRender();
        SetRenderFactory({});
        RemoveAllCells();
    }
    CRenderState(const CRenderState&) = delete;
    CRenderState& operator=(const CRenderState&) = delete;
};
