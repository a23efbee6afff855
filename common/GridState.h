#pragma once

#include <cstdint>
#include <vector>

#include "platform/windows/windows.h"

/// What the wall knows apart from its windows: arrangements, the page, the focus. Cells have indexes over all
/// pages; an arrangement is the rectangles of one page. Arrangement 0 is never shown: its first rectangle is
/// the extent of the whole video area. Arrangement 1 has one cell. The last has the most cells, and its size is
/// the count of cells.
class CGridState
{
  public:
    static constexpr std::int32_t SINGLE_LAYOUT = 1;
    /// Fewer cells than this are never asked for.
    static constexpr std::int32_t FEWEST_CELLS = 4;

    /// Where the cells of a page lie: of cell i the rectangle, or an empty one for a cell that is not on the
    /// page.
    struct Placement {
        std::vector<RECT> cells;     // one for each cell of the wall
        std::vector<RECT> outlines;  // one for each cell on the page, in order
    };

    CGridState() = default;
    /// `layouts` in the order of the record, already scaled.
    explicit CGridState(std::vector<std::vector<RECT>> layouts);

    std::int32_t GetLayoutCount() const { return static_cast<std::int32_t>(m_Layouts.size()); }
    std::int32_t GetCellCount() const { return m_iCells; }
    std::int32_t GetLayout() const { return m_iLayout; }
    std::int32_t GetPreviousLayout() const { return m_iPreviousLayout; }
    std::int32_t GetPage() const { return m_iPage; }
    std::int32_t GetFocus() const { return m_iFocus; }
    void SetFocus(std::int32_t cell) { m_iFocus = cell; }
    void SetPage(std::int32_t page) { m_iPage = page; }

    /// Makes arrangement `index` current; leaving the single cell goes back to the first page. An unknown index
    /// changes nothing.
    void SelectLayout(std::int32_t index);
    /// The first arrangement with at least `cells` cells (4 at the fewest), or the last one; -1 without
    /// arrangements.
    std::int32_t FindLayoutFor(std::int32_t cells) const;

    /// (cells - 1 + n) / n - 1 for n cells on a page, in whole numbers.
    std::int32_t GetLastPage() const;
    void NextPage();  // from the last to the first
    void PrevPage();  // from the first to the last
    void FirstPage() { m_iPage = 0; }
    void LastPage() { m_iPage = GetLastPage(); }

    /// The rectangles of the current arrangement.
    const std::vector<RECT>& GetRects() const;
    /// The extent of the whole video area: the first rectangle of arrangement 0.
    RECT GetYardstick() const;

    /// Places the cells of the current page; `scaleX` and `scaleY` stretch the rectangles (1.0 outside of full
    /// screen). Each cell lies within its rectangle with a margin of 2 on each side.
    Placement Place(float scaleX, float scaleY) const;

    /// The rectangle that the focus frame is drawn on, false when there is none. The focus is the index over
    /// all pages, used directly on the page's rectangles: a focused cell on a later page has no frame, and that
    /// is meant so.
    bool GetFocusRect(float scaleX, float scaleY, RECT& rect) const;

  private:
    std::vector<std::vector<RECT>> m_Layouts;
    std::int32_t m_iCells = 0;
    std::int32_t m_iLayout = SINGLE_LAYOUT;
    std::int32_t m_iPreviousLayout = SINGLE_LAYOUT;
    std::int32_t m_iFocus = -1;
    std::int32_t m_iPage = 0;
};

/// The rectangle with each co-ordinate multiplied, in single precision, and cut to a whole number; within
/// -32767 to 32767.
RECT ScaleRect(const RECT& rect, float scaleX, float scaleY);
