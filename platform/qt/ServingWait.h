#pragma once

#include <QObject>
#include <QPointer>
#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

class QSocketNotifier;
class QWidget;

/// The event loop of a wait that only paints, runs the panels' timers and serves sent messages: what else comes
/// for the application's objects is held back, and handed on after the wait. A loop that the host runs
/// meanwhile, in a call that it has queued, a dialog's for one or one over processEvents, has all it needs, as
/// the wait can't end before it; the panels' input is held back all the same. Panels' thread only; waits nest.
class CServingWait final : public QObject
{
  public:
    CServingWait();
    /// Hands on what was held back, after the caller's return to its own event loop.
    ~CServingWait() override;
    CServingWait(const CServingWait&) = delete;
    CServingWait& operator=(const CServingWait&) = delete;

    /// Serves until `ended()` holds, which is asked again each time the thread is woken.
    void Run(const std::function<bool()>& ended);

    /// Whether some wait runs.
    static bool IsRunning();

    bool eventFilter(QObject* watched, QEvent* event) override;

    /// While one of these stands, waits serve the input of `box` too. A message served in a wait may open it,
    /// and the wait goes on only when it has been answered.
    class CServedBox
    {
      public:
        explicit CServedBox(QWidget& box);
        ~CServedBox();
        CServedBox(const CServedBox&) = delete;
        CServedBox& operator=(const CServedBox&) = delete;
    };

  private:
    /// Whether a loop of the host's runs in this wait, beside those of message boxes.
    bool IsHostLooping() const;
    void OnLook(bool awake);
    void HandOn(bool panelsToo);

    const int m_iWait;          // how many are inside one another, with this one
    const int m_iLoops;         // that ran when the wait began
    const std::size_t m_Boxes;  // that stood
    int m_iLooks = 0;  // for events that the present one of the wait has told of: its own, then the host's
    bool m_bAwakeFirst = false;
    std::vector<std::pair<QPointer<QObject>, int>> m_Timers;  // whose time came, each once
    std::vector<QPointer<QWidget>> m_Closing;
    std::vector<QPointer<QSocketNotifier>> m_Notifiers;  // switched off
    bool m_bQuit = false;
};
