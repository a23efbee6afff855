#include "tests/model/model_support.h"

#include "model/NodeModel.h"
#include "model/settings/Language.h"
#include "model/tree/CompositeIterator.h"
#include "platform/os/paths.h"

CDebugCapture::CDebugCapture()
    : m_Former(SetDebugListener([this](std::string_view text) { m_strText += text; }))
{
}

CDebugCapture::~CDebugCapture()
{
    SetDebugListener(m_Former);
}

std::vector<std::string> WalkNames(CFolder& folder)
{
    std::vector<std::string> names;
    CCompositeIterator walk(folder.CreateIterator());
    while (walk.HasNext()) {
        CNode* const node = walk.CurrentItem();
        names.push_back(node ? node->GetName() : "(null)");
        walk.Next();
    }
    return names;
}
