#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "recorder/scene/Mark.h"
#include "recorder/scene/Scene.h"
#include "remote/p2p/Endpoints.h"
#include "remote/p2p/P2PSession.h"
#include "render/Render.h"
#include "tests/support/test_clocks.h"
#include "tests/support/test_folder.h"

/// The recorder as a child process on free ports; ended with the object.
class CRecorderProcess
{
  public:
    /// Starts it with these arguments and waits until it says that it is ready.
    explicit CRecorderProcess(const std::vector<std::string>& arguments);
    ~CRecorderProcess();
    CRecorderProcess(const CRecorderProcess&) = delete;
    CRecorderProcess& operator=(const CRecorderProcess&) = delete;

    /// Ends it in the middle of whatever it does.
    void Kill();

    /// Holds it, with all that it has not sent yet, until Resume.
    void Pause() const;
    void Resume() const;

    /// Where its directory listens.
    Endpoints GetEndpoints() const;
    /// A session that finds its rendezvous server.
    SessionOptions SessionOptionsOf(IClock& clock, bool sharedReceive) const;
    /// Ends it and gives its report of what it served, as JSON; empty when it did not end in order.
    std::string End();

    /// Whether it was started and End was not called yet.
    bool IsRunning() const { return m_Process > 0; }

    /// What its pictures have in common.
    const recorder::SceneSetup& Scene() const { return m_Scene; }

  private:
    std::string ReportFile() const { return m_Folder.Path("report.json"); }
    std::string Field(const std::string& name) const;
    std::uint16_t Port(const std::string& name) const;

    CTestFolder m_Folder;
    pid_t m_Process = -1;
    std::string m_strReady;
    recorder::SceneSetup m_Scene;
};

/// A picture that a link showed, with the window that it went to.
using ShownPicture = std::function<void(HWND window, const recorder::Picture& picture)>;

/// A renderer that hands over copies of what is shown, on the link threads.
std::unique_ptr<CRender> MakeListeningRender(ShownPicture shown);

/// Waits until `condition` holds; false after 60 s.
bool WaitUntil(const std::function<bool()>& condition);

/// Threads, open files and bytes of allocated memory of this process. A sanitizer's allocator tells of no
/// memory: it looks for leaks itself.
std::size_t CountThreads();
std::size_t CountFiles();
std::size_t CountBytes();

/// Rounds of a soak: fewer under the thread sanitizer, which is slow and looks for orders of events, not for
/// what piles up.
#if defined(__SANITIZE_THREAD__)
inline constexpr int SOAK_ROUNDS = 20;
#else
inline constexpr int SOAK_ROUNDS = 200;
#endif
