#include "common/GridState.h"

#include <algorithm>

namespace
{

constexpr std::int32_t CELL_MARGIN = 2;
constexpr float FARTHEST = 32767.0F;  // co-ordinates of windows have 16 bits at the display

}  // namespace

RECT ScaleRect(const RECT& rect, float scaleX, float scaleY)
{
    const auto scaled = [](std::int32_t length, float scale) {
        return static_cast<std::int32_t>(std::clamp(static_cast<float>(length) * scale, -FARTHEST, FARTHEST));
    };
    return {scaled(rect.left, scaleX), scaled(rect.top, scaleY), scaled(rect.right, scaleX),
            scaled(rect.bottom, scaleY)};
}

CGridState::CGridState(std::vector<std::vector<RECT>> layouts)
    : m_Layouts(std::move(layouts)),
      m_iCells(m_Layouts.empty() ? 0 : static_cast<std::int32_t>(m_Layouts.back().size()))
{
}

const std::vector<RECT>& CGridState::GetRects() const
{
    static const auto& none = *new std::vector<RECT>;  // never destroyed
    const bool known = m_iLayout >= 0 && m_iLayout < GetLayoutCount();
    return known ? m_Layouts[static_cast<std::size_t>(m_iLayout)] : none;
}

RECT CGridState::GetYardstick() const
{
    const bool known = !m_Layouts.empty() && !m_Layouts.front().empty();
    return known ? m_Layouts.front().front() : RECT{};
}

void CGridState::SelectLayout(std::int32_t index)
{
    if (index < 0 || index >= GetLayoutCount()) return;
    if (m_iLayout == SINGLE_LAYOUT) m_iPage = 0;
    m_iPreviousLayout = m_iLayout;
    m_iLayout = index;
}

std::int32_t CGridState::FindLayoutFor(std::int32_t cells) const
{
    const auto wanted = static_cast<std::size_t>(std::max(cells, FEWEST_CELLS));
    const auto found =
        std::find_if(m_Layouts.begin(), m_Layouts.end(),
                     [wanted](const std::vector<RECT>& layout) { return layout.size() >= wanted; });
    return found != m_Layouts.end() ? static_cast<std::int32_t>(found - m_Layouts.begin())
                                    : GetLayoutCount() - 1;
}

std::int32_t CGridState::GetLastPage() const
{
    const auto onPage = static_cast<std::int32_t>(GetRects().size());
    return onPage > 0 ? (m_iCells - 1 + onPage) / onPage - 1 : 0;
}

void CGridState::NextPage()
{
    m_iPage = m_iPage < GetLastPage() ? m_iPage + 1 : 0;
}

void CGridState::PrevPage()
{
    m_iPage = m_iPage < 1 ? GetLastPage() : m_iPage - 1;
}

CGridState::Placement CGridState::Place(float scaleX, float scaleY) const
{
    Placement placement;
    placement.cells.resize(static_cast<std::size_t>(m_iCells));
    const auto& rects = GetRects();
    const std::size_t first = rects.size() * static_cast<std::size_t>(std::max(m_iPage, 0));
    for (std::size_t j = 0; j < rects.size() && first + j < placement.cells.size(); ++j) {
        const RECT outline = ScaleRect(rects[j], scaleX, scaleY);
        placement.outlines.push_back(outline);
        placement.cells[first + j] = {outline.left + CELL_MARGIN, outline.top + CELL_MARGIN,
                                      std::max(outline.right - CELL_MARGIN, outline.left + CELL_MARGIN),
                                      std::max(outline.bottom - CELL_MARGIN, outline.top + CELL_MARGIN)};
    }
    return placement;
}

bool CGridState::GetFocusRect(float scaleX, float scaleY, RECT& rect) const
{
    // oddity: focus-over-all-pages. The index is the cell's over all pages, used on the page's rectangles.
    const auto& rects = GetRects();
    if (m_iFocus < 0 || static_cast<std::size_t>(m_iFocus) >= rects.size()) return false;
    rect = ScaleRect(rects[static_cast<std::size_t>(m_iFocus)], scaleX, scaleY);
    return true;
}
