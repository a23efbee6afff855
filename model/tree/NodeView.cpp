#include "model/tree/NodeView.h"

#include <atomic>
#include <vector>

#include "inc/EntryCheck.h"

namespace
{

struct Views {
    std::vector<CNodeView*> list;  // panels' thread only
    std::atomic<int> count{0};     // folders without a view go on other threads too
    CThreadMark thread;            // of the list, while it holds a view
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
    ASSERT_THREAD(AllViews().thread);
    AllViews().list.push_back(this);
    ++AllViews().count;
}

CNodeView::~CNodeView()
{
    ASSERT_THREAD(AllViews().thread);
    std::erase(AllViews().list, this);
    if (--AllViews().count == 0) AllViews().thread.Clear();
}

void TellNodeGoes(const CNode& node)
{
    if (AllViews().count == 0) return;
    ASSERT_THREAD(AllViews().thread);
    const std::vector<CNodeView*> views = AllViews().list;
    for (CNodeView* view : views)
        view->NodeGoes(node);
}
