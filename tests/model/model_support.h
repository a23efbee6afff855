#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "inc/OutputDebugString.h"
#include "model/tree/Folder.h"
#include "tests/support/model_state.h"
#include "tests/support/test_folder.h"

/// A test with a module directory of its own, and no model, language or observer from another test.
class CModelTest : public testing::Test
{
  protected:
    CTestFolder m_Folder;  // the module's directory
    const CModelState m_State{m_Folder.Path()};
};

/// Collects the debugger output for the length of a scope.
class CDebugCapture
{
  public:
    CDebugCapture();
    ~CDebugCapture();
    CDebugCapture(const CDebugCapture&) = delete;
    CDebugCapture& operator=(const CDebugCapture&) = delete;

    const std::string& Text() const { return m_strText; }

  private:
    std::string m_strText;
    CDebugListener m_Former;
};

/// Adds a new child of class T with a name at the end of the folder.
template <class T>
T* AddChild(CFolder& folder, const std::string& name)
{
    auto* const child = new T;
    child->SetName(name);
    folder.Add(child, nullptr);
    return child;
}

/// The names of all nodes beneath the folder, in walk order; "(null)" for a null entry.
std::vector<std::string> WalkNames(CFolder& folder);
