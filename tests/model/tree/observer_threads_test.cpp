#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <memory>
#include <thread>
#include <vector>

#include "model/tree/Observer.h"

namespace
{

// Holds the thread that updates it inside Update until it is released.
class CHolding : public CObserver
{
  public:
    void Update(CNode* /*node*/, std::string /*message*/) override
    {
        m_Inside.count_down();
        m_Go.wait();
        m_bLeft = true;
    }

    std::latch m_Inside{1};
    std::latch m_Go{1};
    std::atomic<bool> m_bLeft{false};
};

TEST(ObserverThreads, DetachWaitsForAnUpdateOnAnotherThread)
{
    CHolding observer;
    AttachObserver(&observer);
    std::thread link([] { Notify(nullptr, ""); });
    observer.m_Inside.wait();
    std::thread release([&] { observer.m_Go.count_down(); });
    DetachObserver(&observer);
    EXPECT_TRUE(observer.m_bLeft);  // the observer may be destroyed from here on
    release.join();
    link.join();
}

class CCounting : public CObserver
{
  public:
    void Update(CNode* /*node*/, std::string /*message*/) override { ++m_iCount; }
    std::atomic<int> m_iCount{0};
};

TEST(ObserverThreads, ManyThreadsNotifyWhileObserversComeAndGo)
{
    CCounting staying;
    AttachObserver(&staying);
    std::vector<std::thread> links;
    for (int i = 0; i < 4; ++i) {
        links.emplace_back([] {
            for (int j = 0; j < 500; ++j)
                Notify(nullptr, "IDS_DeviceOpened");
        });
    }
    for (int i = 0; i < 50; ++i) {
        auto passing = std::make_unique<CCounting>();
        AttachObserver(passing.get());
        DetachObserver(passing.get());
    }
    for (std::thread& link : links)
        link.join();
    DetachObserver(&staying);
    EXPECT_EQ(staying.m_iCount, 2000);
}

}  // namespace
