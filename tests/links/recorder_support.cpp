#include "tests/links/recorder_support.h"

#include <malloc.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>
#include <utility>

#include "codec/codec.h"
#include "tests/support/test_places.h"

extern char** environ;

namespace
{

constexpr auto TIME_LIMIT = std::chrono::seconds(60);

class CListeningRender final : public CRender
{
  public:
    explicit CListeningRender(ShownPicture shown) : m_Shown(std::move(shown)) {}
    std::int32_t DisplayClient(const CodecFrame* frame, CSurface* surface, HWND window) override
    {
        surface->m_Showing = EShowing::Dropped;
        if (frame->data[0] == nullptr) return -1;
        recorder::Picture picture;
        picture.Resize(frame->width, frame->height);
        CopyPlane(frame->data[0], frame->linesize[0], frame->width, frame->height, picture.y);
        CopyPlane(frame->data[1], frame->linesize[1], frame->width / 2, frame->height / 2, picture.u);
        CopyPlane(frame->data[2], frame->linesize[1], frame->width / 2, frame->height / 2, picture.v);
        m_Shown(window, picture);
        surface->m_Showing = EShowing::Shown;
        return 0;
    }
    CSurface* CreateSurface(std::int32_t width, std::int32_t height) override
    {
        return new CSurface(width, height);
    }
    void DestroySurface(CSurface* surface) override { delete surface; }
    std::int32_t SaveSnapshot(std::string, CSurface*) override { return 0; }

  private:
    static void CopyPlane(const std::uint8_t* from, std::int32_t stride, std::int32_t width,
                          std::int32_t height, std::vector<std::uint8_t>& to)
    {
        for (std::int32_t row = 0; row < height; ++row)
            std::copy_n(from + std::ptrdiff_t{row} * stride, width, to.begin() + std::ptrdiff_t{row} * width);
    }

    const ShownPicture m_Shown;
};

}  // namespace

CRecorderProcess::CRecorderProcess(const std::vector<std::string>& arguments)
{
    const std::string readyFile = m_Folder.Path("ready");
    std::vector<std::string> words{BuildPath("bin/watchwall-recorder"),
                                   "--directory-port",
                                   "0",
                                   "--rendezvous-port",
                                   "0",
                                   "--ready-file",
                                   readyFile,
                                   "--report",
                                   ReportFile()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", 1, 0);
    const int failed = posix_spawn(&m_Process, words[0].c_str(), &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0) throw std::runtime_error("can't start " + words[0]);
    bool ready = false;
    const bool told = WaitUntil([&] {
        std::ifstream file(readyFile);
        ready = static_cast<bool>(std::getline(file, m_strReady)) && !file.eof();
        return ready || waitpid(m_Process, nullptr, WNOHANG) == m_Process;
    });
    if (!told || !ready) throw std::runtime_error("the recorder does not say that it is ready");

    const std::string size = Field("size");
    m_Scene.width = std::stoi(size);
    m_Scene.height = std::stoi(size.substr(size.find('x') + 1));
    m_Scene.rate = std::stoi(Field("fps"));
    std::string clock = Field("clock");
    clock = clock.substr(0, clock.find('.'));
    clock[clock.find('T')] = ' ';
    m_Scene.clockStart = recorder::ParseClock(clock);
    m_Scene.mark = true;
}

CRecorderProcess::~CRecorderProcess()
{
    if (m_Process <= 0) return;
    kill(m_Process, SIGTERM);
    waitpid(m_Process, nullptr, 0);
}

void CRecorderProcess::Kill()
{
    kill(m_Process, SIGKILL);
    waitpid(m_Process, nullptr, 0);
    m_Process = -1;
}

void CRecorderProcess::Pause() const
{
    kill(m_Process, SIGSTOP);
}

void CRecorderProcess::Resume() const
{
    kill(m_Process, SIGCONT);
}

std::string CRecorderProcess::End()
{
    if (!IsRunning()) return "";
    int status = -1;
    kill(m_Process, SIGTERM);
    waitpid(std::exchange(m_Process, -1), &status, 0);
    if (status != 0) return "";
    std::ifstream file(ReportFile());
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string CRecorderProcess::Field(const std::string& name) const
{
    const auto at = m_strReady.find(" " + name + "=");
    if (at == std::string::npos) throw std::runtime_error("no " + name + " in: " + m_strReady);
    const auto begin = at + name.size() + 2;
    return m_strReady.substr(begin, m_strReady.find(' ', begin) - begin);
}

std::uint16_t CRecorderProcess::Port(const std::string& name) const
{
    const std::string endpoint = Field(name);
    return static_cast<std::uint16_t>(std::stoi(endpoint.substr(endpoint.find(':') + 1)));
}

Endpoints CRecorderProcess::GetEndpoints() const
{
    Endpoints endpoints;
    endpoints.directoryPort = Port("directory");
    endpoints.rendezvousPort = Port("rendezvous");
    return endpoints;
}

SessionOptions CRecorderProcess::SessionOptionsOf(IClock& clock, bool sharedReceive) const
{
    SessionOptions options;
    options.p2p = {Port("rendezvous"), &clock};
    options.sharedReceive = sharedReceive;
    return options;
}

std::unique_ptr<CRender> MakeListeningRender(ShownPicture shown)
{
    return std::make_unique<CListeningRender>(std::move(shown));
}

bool WaitUntil(const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + TIME_LIMIT;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

std::size_t CountThreads()
{
    const std::filesystem::directory_iterator entries("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

std::size_t CountFiles()
{
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

std::size_t CountBytes()
{
    const auto memory = mallinfo2();
    return memory.uordblks + memory.hblkhd;
}
