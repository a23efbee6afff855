#include "tests/common/render_wnd_support.h"

#include "model/NodeModel.h"
#include "model/settings/Language.h"
#include "platform/os/paths.h"
#include "platform/qt/QtPlatform.h"
#include "render/D3DSurfaceRender.h"

XRenderWnd MakeGridRecord(std::initializer_list<int> sizes)
{
    XRenderWnd record;
    const auto rect = [](int left, int top, int right, int bottom) {
        auto made = std::make_unique<XRect>();
        made->left = left;
        made->top = top;
        made->right = right;
        made->bottom = bottom;
        return made;
    };
    const auto add = [&record](std::unique_ptr<XSubRender> layout) {
        record.list_subrender.Append(std::move(layout));
    };
    for (int i = 0; i < 2; ++i) {
        auto whole = std::make_unique<XSubRender>();
        whole->list_rect.Append(rect(0, 0, 400, 300));
        add(std::move(whole));
    }
    for (const int size : sizes) {
        auto layout = std::make_unique<XSubRender>();
        const int across = size <= 4 ? 2 : 4;
        for (int i = 0; i < size; ++i) {
            const int width = 400 / across;
            const int height = 300 / across;
            const int x = i % across * width;
            const int y = i / across * height;
            layout->list_rect.Append(rect(x, y, x + width, y + height));
        }
        add(std::move(layout));
    }
    record.rect.left = 10;
    record.rect.top = 20;
    record.rect.right = 410;
    record.rect.bottom = 320;
    record.xfactor = 1000;
    record.yfactor = 500;
    record.default_layout = 2;
    return record;
}

RenderWndTest::RenderWndTest()
{
    StartQtPlatform();
    m_pParent = std::make_unique<QWidget>();
    m_pParent->resize(440, 360);
    m_ParentHandle.emplace(*m_pParent, [this](std::uint32_t message, WPARAM, LPARAM) {
        m_Notices.push_back(message);
        return LRESULT{0};
    });
    m_pParent->show();
}

RenderWndTest::~RenderWndTest()
{
    m_Grid.reset();
    m_ParentHandle.reset();
    m_pParent.reset();
    QCoreApplication::removePostedEvents(qApp, QEvent::Quit);
    StopQtPlatform();
}

CRenderWnd& RenderWndTest::Grid(std::initializer_list<int> sizes, std::int32_t mode)
{
    m_Grid.emplace();
    EXPECT_TRUE(m_Grid->Init(m_pParent.get(), MakeGridRecord(sizes), mode));
    return *m_Grid;
}
