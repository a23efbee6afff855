#include "bench/wall/Display.h"

#include <X11/Xlib.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <stdexcept>
#include <string>

extern char** environ;

namespace
{

constexpr int COLUMNS = 4;

// Starts the server; the number of the display that it found free comes out of the pipe.
pid_t StartServer(std::string& number)
{
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) throw std::runtime_error("no pipe");
    fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    std::array<std::string, 8> words{
        "Xvfb", "-displayfd", std::to_string(ends[1]), "-screen", "0", "1280x1024x24", "-noreset", "-ac"};
    std::array<char*, 9> pointers{};
    for (std::size_t i = 0; i < words.size(); ++i)
        pointers[i] = words[i].data();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t server = -1;
    const int failed = posix_spawnp(&server, "Xvfb", &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    char digit = 0;
    while (failed == 0 && read(ends[0], &digit, 1) == 1 && digit != '\n')
        number += digit;
    close(ends[0]);
    if (number.empty()) throw std::runtime_error("no virtual frame buffer: is Xvfb installed?");
    return server;
}

}  // namespace

CBenchDisplay::CBenchDisplay(int cells, int width, int height)
{
    std::string number;
    m_Server = StartServer(number);
    setenv("DISPLAY", (":" + number).c_str(), 1);
    setenv("LIBGL_ALWAYS_SOFTWARE", "1", 1);
    m_pDisplay = XOpenDisplay(nullptr);
    if (m_pDisplay == nullptr) throw std::runtime_error("the virtual frame buffer does not answer");
    std::vector<Window> windows;
    for (int i = 0; i < cells; ++i) {
        XSetWindowAttributes attributes{};
        attributes.override_redirect = 1;
        attributes.background_pixmap = 0;  // no background: the server paints nothing over the picture
        const Window window =
            XCreateWindow(m_pDisplay, DefaultRootWindow(m_pDisplay), i % COLUMNS * width, i / COLUMNS * height,
                          static_cast<unsigned>(width), static_cast<unsigned>(height), 0, 0, InputOutput,
                          nullptr, CWOverrideRedirect | CWBackPixmap, &attributes);
        XMapWindow(m_pDisplay, window);
        const HWND handle = RegisterWindow([](std::uint32_t, WPARAM, LPARAM) { return LRESULT{0}; });
        m_Windows.push_back(handle);
        windows.push_back(window);
    }
    XSync(m_pDisplay, 0);
    for (std::size_t i = 0; i < windows.size(); ++i)
        m_Leases.emplace_back(m_Windows[i]).Lend(windows[i]);
}

CBenchDisplay::~CBenchDisplay()
{
    m_Leases.clear();
    for (const HWND window : m_Windows)
        UnregisterWindow(window);
    XCloseDisplay(m_pDisplay);
    kill(m_Server, SIGTERM);
    waitpid(m_Server, nullptr, 0);
}
