#pragma once

#include <string>

#include "model/NodeModel.h"
#include "model/settings/Language.h"
#include "platform/os/paths.h"

/// What the rooms up to model/ keep for the whole process (tree and database, language, module's directory),
/// new at the beginning and put back at the end: a fixture's member after the folder that it names.
/// `moduleDirectory` in either form of a path; "" leaves the rule of GetModuleDirectory.
class CModelState
{
  public:
    explicit CModelState(const std::string& moduleDirectory = {})
    {
        CNodeModel::DestroyInstance();
        CLanguage::Reset();
        if (!moduleDirectory.empty()) SetModuleDirectory(moduleDirectory);
    }
    ~CModelState()
    {
        CNodeModel::DestroyInstance();
        CLanguage::Reset();
        SetModuleDirectory("");
    }
    CModelState(const CModelState&) = delete;
    CModelState& operator=(const CModelState&) = delete;
};
