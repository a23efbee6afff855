#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "model/tree/Observer.h"
#include "remote/Remote.h"

namespace
{

class CNothing : public CObserver
{
  public:
    void Update(CNode* /*node*/, std::string /*message*/) override {}
};

// The panels' thread asks and deletes while the link thread serves and reports; neither takes a lock.
TEST(DeviceStateThreads, PanelsAndLinkShareTheStateToTheEnd)
{
    CNothing observer;
    AttachObserver(&observer);
    for (int i = 0; i < 20; ++i) {
        auto remote = std::make_unique<CRemote>();
        remote->GetState()->m_bRunning = true;
        std::thread link([state = remote->GetState()] {
            while (state->m_bRunning) {
                state->m_iStatus = state->m_iStatus == STATUS_OPEN ? STATUS_RECORDING : STATUS_OPEN;
                state->m_nFlags.ClearBits(FLAG_SNAPSHOT);
                state->Tell("");
            }
            state->m_hRenderWnd = HWND::Null;
            state->m_iStatus = STATUS_CLOSED;
            state->Tell("");
        });
        for (int j = 0; j < 100; ++j) {
            remote->SetRenderWnd(static_cast<HWND>(j));
            remote->SnapShot();
            remote->StartRecord(0);
        }
        const std::shared_ptr<CDeviceState> state = remote->GetState();
        state->m_bRunning = false;
        remote.reset();
        link.join();
        EXPECT_EQ(state->m_iStatus, STATUS_CLOSED);
        EXPECT_EQ(state->m_hRenderWnd, HWND::Null);
    }
    DetachObserver(&observer);
}

// A bit that one thread sets isn't lost against another that clears a different one.
TEST(DeviceStateThreads, RequestBitsAreNotLost)
{
    CDeviceState state(nullptr);
    std::thread other([&] {
        for (int i = 0; i < 10000; ++i) {
            state.m_nFlags.SetBits(FLAG_SNAPSHOT);
            state.m_nFlags.ClearBits(FLAG_SNAPSHOT);
        }
    });
    for (int i = 0; i < 10000; ++i) {
        state.m_nFlags.SetBits(FLAG_START_RECORD);
        ASSERT_NE(state.m_nFlags & FLAG_START_RECORD, 0u);
        state.m_nFlags.ClearBits(FLAG_START_RECORD);
    }
    other.join();
    EXPECT_EQ(state.m_nFlags, 0u);
}

}  // namespace
