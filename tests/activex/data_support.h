#pragma once

#include <gtest/gtest.h>

#include <QWidget>
#include <memory>
#include <string>

#include "activex/ActiveXCtrl.h"
#include "inc/OutputDebugString.h"
#include "render/device/MemorySurfaceDevice.h"
#include "tests/activex/home_support.h"
#include "tests/support/model_state.h"
#include "tests/support/render_state.h"

/// A control with a module directory of its own, whose files a test harms before it starts the control.
class CDataTest : public testing::Test
{
  protected:
    CDataTest();
    ~CDataTest() override;

    /// Files of the module's directory: "config/eng.ini".
    void Write(const char* name, const std::string& text) const;
    std::string Read(const char* name) const;

    HRESULT Start() { return m_pControl->CreateControlWindow(&m_Container); }
    CMainDialog& Panel() { return m_pControl->GetPanel(); }

    std::string m_strDebug;  // what the debugger output heard; the log writes there from foreign threads too
    CDebugListener m_Former;
    CTestHome m_Home;
    std::shared_ptr<CMemorySurfaceAdapter> m_pAdapter = std::make_shared<CMemorySurfaceAdapter>();
    const CModelState m_Model;
    const CRenderState m_Render{m_pAdapter};
    QWidget m_Container;
    CComPtr<IDispatch> m_pDispatch;
    CActiveXCtrl* m_pControl = nullptr;
};
