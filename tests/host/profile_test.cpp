#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/MainWindow.h"

namespace
{

// A control that notes what it is asked.
class CNotingControl final : public CUnknown<IControlWindow, IControlProfile>
{
  public:
    explicit CNotingControl(std::vector<std::string>& calls) : m_Calls(calls) {}

    HRESULT SetProfile(const std::string& name) override
    {
        m_Calls.push_back(name);
        return S_OK;
    }
    HRESULT CreateControlWindow(void*) override
    {
        m_Calls.emplace_back("window");
        return S_OK;
    }
    HRESULT SetClientSite(IControlSite*) override { return S_OK; }
    HRESULT SetBounds(std::int32_t, std::int32_t, std::int32_t, std::int32_t) override { return S_OK; }
    HRESULT Draw(void*, std::int32_t, std::int32_t, std::int32_t, std::int32_t) override { return S_OK; }
    HRESULT DestroyControlWindow() override { return S_OK; }
    void* GetControlWindow() override { return nullptr; }

  private:
    std::vector<std::string>& m_Calls;
};

std::vector<std::string> CallsFor(const QString& profile)
{
    std::vector<std::string> calls;
    CMainWindow window;
    CComPtr<IControlWindow> control;
    auto* const noting = new CNotingControl(calls);
    EXPECT_TRUE(SUCCEEDED(control.Query(*static_cast<IControlWindow*>(noting))));
    static_cast<IControlWindow*>(noting)->Release();
    EXPECT_TRUE(window.Embed(std::move(control), profile));
    return calls;
}

TEST(Profile, OperatorIsAskedForBeforeTheControlHasItsWindow)
{
    EXPECT_EQ(CallsFor("operator"), (std::vector<std::string>{"operator", "window"}));
}

TEST(Profile, ClassicIsWhatAControlIsUnlessAsked)
{
    EXPECT_EQ(CallsFor("classic"), std::vector<std::string>{"window"});
}

}  // namespace
