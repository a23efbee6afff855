#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "render/D3DSurfaceRender.h"
#include "render/device/MemorySurfaceDevice.h"
#include "tests/render/render_support.h"

/// The renderer over a device in memory; not initialised yet.
class D3DSurfaceFixture : public testing::Test
{
  protected:
    static constexpr HWND CELL{1};
    static constexpr std::int32_t WIDTH = 352;
    static constexpr std::int32_t HEIGHT = 288;

    CRecordingBackend m_Backend;
    std::shared_ptr<CMemorySurfaceAdapter> m_pAdapter = std::make_shared<CMemorySurfaceAdapter>();
    int m_iOpened = 0;
    CD3DSurfaceRender m_Render{[this] {
        ++m_iOpened;
        return m_pAdapter;
    }};
};

/// The same in use, with the surface of one stream and a frame for it.
class D3DStreamFixture : public D3DSurfaceFixture
{
  protected:
    D3DStreamFixture()
    {
        m_Render.Init(CELL);
        m_pSurface = m_Render.CreateSurface(WIDTH, HEIGHT);
    }

    CSurface* m_pSurface = nullptr;
    const CTestFrame m_Frame{WIDTH, HEIGHT, 90};
};
