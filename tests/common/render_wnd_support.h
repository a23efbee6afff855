#pragma once

#include <gmock/gmock.h>

#include <QApplication>
#include <QTemporaryDir>
#include <QTest>
#include <optional>

#include "common/RenderCell.h"
#include "common/RenderWnd.h"
#include "render/CellPool.h"
#include "render/device/MemorySurfaceDevice.h"
#include "tests/support/model_state.h"
#include "tests/support/render_state.h"

/// A record of 400 by 300 at (10, 20) with the yardstick, one cell, and arrangements of the sizes given: two
/// across up to four cells, four across beyond.
XRenderWnd MakeGridRecord(std::initializer_list<int> sizes);

/// The grid in a window of 440 by 360, over a device in memory, in a module directory of the test's own.
class RenderWndTest : public testing::Test
{
  protected:
    RenderWndTest();
    ~RenderWndTest() override;

    CRenderWnd& Grid(std::initializer_list<int> sizes = {4, 16}, std::int32_t mode = 3);
    QRect CellRect(std::size_t index) { return m_Grid->GetCell(index)->geometry(); }
    void Serve() { QApplication::processEvents(); }

    QTemporaryDir m_Home;
    const CModelState m_Model{m_Home.path().toStdString()};
    std::shared_ptr<CMemorySurfaceAdapter> m_pAdapter = std::make_shared<CMemorySurfaceAdapter>();
    const CRenderState m_Render{CRenderFactory(
        [this] { return std::make_unique<CD3DSurfaceRender>([adapter = m_pAdapter] { return adapter; }); })};
    std::unique_ptr<QWidget> m_pParent;
    std::optional<CWindowHandle> m_ParentHandle;
    std::vector<std::uint32_t> m_Notices;
    std::optional<CRenderWnd> m_Grid;
};
