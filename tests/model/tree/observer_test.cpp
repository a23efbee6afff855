#include "model/tree/Observer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "model/tree/Leaf.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

class CRecorder : public CObserver
{
  public:
    explicit CRecorder(std::vector<std::string>& heard, std::string name = "")
        : m_Heard(heard), m_strName(std::move(name))
    {
        AttachObserver(this);
    }
    ~CRecorder() override { DetachObserver(this); }

    void Update(CNode* node, std::string message) override
    {
        m_Heard.push_back(m_strName + (node ? node->GetName() : "null") + ":" + message);
        if (m_Action) m_Action();
    }

    std::function<void()> m_Action;

  private:
    std::vector<std::string>& m_Heard;
    std::string m_strName;
};

TEST(Observer, NotifyReachesEveryEntryInOrder)
{
    std::vector<std::string> heard;
    const CRecorder first(heard, "1 ");
    const CRecorder second(heard, "2 ");
    CLeaf leaf;
    Notify(&leaf, "IDS_DeviceOpened");
    Notify(nullptr, "");
    EXPECT_THAT(heard,
                ElementsAre("1 Unknown:IDS_DeviceOpened", "2 Unknown:IDS_DeviceOpened", "1 null:", "2 null:"));
}

TEST(Observer, AttachedTwiceItHearsTwiceAndDetachRemovesBoth)
{
    std::vector<std::string> heard;
    CRecorder observer(heard);
    AttachObserver(&observer);
    Notify(nullptr, "a");
    EXPECT_THAT(heard, ElementsAre("null:a", "null:a"));
    DetachObserver(&observer);
    Notify(nullptr, "b");
    EXPECT_EQ(heard.size(), 2u);
}

TEST(Observer, TheSwitchGatesNotify)
{
    std::vector<std::string> heard;
    const CRecorder observer(heard);
    DisableNotify();
    Notify(nullptr, "silent");
    EnableNotify();
    EXPECT_THAT(heard, IsEmpty());
    Notify(nullptr, "loud");
    EXPECT_THAT(heard, ElementsAre("null:loud"));
}

TEST(Observer, WithoutObserversNothingHappens)
{
    Notify(nullptr, "IDS_DeviceOpened");
}

TEST(Observer, MayDetachItselfAndNotifyWithinAnUpdate)
{
    std::vector<std::string> heard;
    CRecorder observer(heard);
    observer.m_Action = [&] {
        DetachObserver(&observer);
        Notify(nullptr, "inner");
    };
    Notify(nullptr, "outer");
    EXPECT_THAT(heard, ElementsAre("null:outer"));
}

TEST(Observer, AnObserverThatThrowsDoesNotHoldUpALaterDetach)
{
    std::vector<std::string> heard;
    CRecorder observer(heard);
    observer.m_Action = [] { throw std::runtime_error("no"); };
    EXPECT_THROW(Notify(nullptr, "a"), std::runtime_error);
    observer.m_Action = nullptr;
    DetachObserver(&observer);
    SUCCEED();
}

}  // namespace
