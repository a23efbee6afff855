#include "model/tree/NodeView.h"

#include <atomic>
#include <vector>

namespace
{

struct Views {
    std::vector<CNodeView*> list;  // panels' thread only
    std::atomic<int> count{0};     // folders without a view go on other threads too
};

// Never destroyed: nodes may go later than any static object.
Views& AllViews()
{
    static auto* const views = new Views;
    return *views;
}

}  // namespace

CNodeView::CNodeView()
{
    AllViews().list.push_back(this);
    ++AllViews().count;
}

CNodeView::~CNodeView()
{
    std::erase(AllViews().list, this);
    --AllViews().count;
}

void TellNodeGoes(const CNode& node)
{
    if (AllViews().count == 0) return;
    const std::vector<CNodeView*> views = AllViews().list;
    for (CNodeView* view : views)
        view->NodeGoes(node);
}
