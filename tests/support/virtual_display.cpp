#include "tests/support/virtual_display.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace
{

constexpr std::uint32_t KEY_SHIFT = 0xFFE1;

template <typename T>
using REPLY = std::unique_ptr<T, decltype(&std::free)>;

[[noreturn]] void BecomeServer(int told)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // Without extra words on the test's own output.
    const int nowhere = ::open("/dev/null", O_RDWR);
    ::dup2(nowhere, STDOUT_FILENO);
    ::dup2(nowhere, STDERR_FILENO);
    const std::string descriptor = std::to_string(told);
    const std::string screen =
        std::to_string(CVirtualDisplay::WIDTH) + "x" + std::to_string(CVirtualDisplay::HEIGHT) + "x24";
    ::execlp("Xvfb", "Xvfb", "-displayfd", descriptor.c_str(), "-screen", "0", screen.c_str(), "+extension",
             "GLX", "-noreset", "-nolisten", "tcp", nullptr);
    ::_exit(127);
}

}  // namespace

CVirtualDisplay::CVirtualDisplay()
{
    int ends[2];
    if (::pipe(ends) != 0) throw std::runtime_error("no pipe for the display");
    m_Process = ::fork();
    if (m_Process == 0) {
        ::close(ends[0]);
        BecomeServer(ends[1]);
    }
    ::close(ends[1]);
    // The server writes its number when it takes connections, and takes a free one by itself.
    std::string number;
    char letter = 0;
    while (::read(ends[0], &letter, 1) == 1 && letter != '\n')
        number += letter;
    ::close(ends[0]);
    if (number.empty()) throw std::runtime_error("Xvfb does not start");
    m_strName = ":" + number;
}

CVirtualDisplay::~CVirtualDisplay()
{
    Kill();
}

void CVirtualDisplay::Enter() const
{
    ::setenv("DISPLAY", m_strName.c_str(), 1);
    ::setenv("QT_QPA_PLATFORM", "xcb", 1);
    ::setenv("LIBGL_ALWAYS_SOFTWARE", "1", 1);
    ::unsetenv("WAYLAND_DISPLAY");
}

void CVirtualDisplay::Kill()
{
    if (m_Process <= 0) return;
    ::kill(m_Process, SIGKILL);
    ::waitpid(std::exchange(m_Process, -1), nullptr, 0);
    const std::string number = m_strName.substr(1);
    ::unlink(("/tmp/.X" + number + "-lock").c_str());  // a server that was killed leaves them behind
    ::unlink(("/tmp/.X11-unix/X" + number).c_str());
}

struct CScreen::STATE {
    xcb_connection_t* m_pConnection = nullptr;
    xcb_window_t m_Root = XCB_NONE;
    REPLY<xcb_get_keyboard_mapping_reply_t> m_pKeys{nullptr, &std::free};
    int m_iFirstKey = 0;

    /// The key that has `keysym` and whether Shift makes it so; 0 for none.
    std::pair<int, bool> FindKey(std::uint32_t keysym) const
    {
        const int per_key = m_pKeys->keysyms_per_keycode;
        const xcb_keysym_t* const symbols = xcb_get_keyboard_mapping_keysyms(m_pKeys.get());
        const int count = xcb_get_keyboard_mapping_keysyms_length(m_pKeys.get());
        for (int level = 0; level < 2 && level < per_key; ++level) {
            for (int i = level; i < count; i += per_key) {
                if (symbols[i] == keysym) return {m_iFirstKey + i / per_key, level == 1};
            }
        }
        return {0, false};
    }
};

CScreen::CScreen(const std::string& display) : m_pState(std::make_unique<STATE>())
{
    m_pState->m_pConnection = xcb_connect(display.c_str(), nullptr);
    if (xcb_connection_has_error(m_pState->m_pConnection) != 0)
        throw std::runtime_error("no connection to the display " + display);
    const xcb_setup_t* const setup = xcb_get_setup(m_pState->m_pConnection);
    m_pState->m_Root = xcb_setup_roots_iterator(setup).data->root;
    m_pState->m_iFirstKey = setup->min_keycode;
    m_pState->m_pKeys.reset(xcb_get_keyboard_mapping_reply(
        m_pState->m_pConnection,
        xcb_get_keyboard_mapping(m_pState->m_pConnection, setup->min_keycode,
                                 static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1)),
        nullptr));
    if (m_pState->m_pKeys == nullptr) throw std::runtime_error("the display tells no keys");
}

CScreen::~CScreen()
{
    xcb_disconnect(m_pState->m_pConnection);
}

// Returns when the server has dealt with it.
void CScreen::Fake(int type, int detail, const QPoint& place) const
{
    xcb_connection_t* const connection = m_pState->m_pConnection;
    std::free(xcb_request_check(
        connection, xcb_test_fake_input_checked(connection, static_cast<std::uint8_t>(type),
                                                static_cast<std::uint8_t>(detail), XCB_CURRENT_TIME,
                                                m_pState->m_Root, static_cast<std::int16_t>(place.x()),
                                                static_cast<std::int16_t>(place.y()), 0)));
}

void CScreen::MoveTo(const QPoint& place)
{
    Fake(XCB_MOTION_NOTIFY, 0, place);
}

void CScreen::Click(const QPoint& place, BUTTON button)
{
    MoveTo(place);
    Fake(XCB_BUTTON_PRESS, static_cast<int>(button));
    Fake(XCB_BUTTON_RELEASE, static_cast<int>(button));
}

void CScreen::DoubleClick(const QPoint& place)
{
    Click(place);
    Click(place);
}

void CScreen::Press(const QPoint& from)
{
    MoveTo(from);
    Fake(XCB_BUTTON_PRESS, static_cast<int>(BUTTON::Left));
}

void CScreen::Release(const QPoint& to)
{
    MoveTo(to);
    Fake(XCB_BUTTON_RELEASE, static_cast<int>(BUTTON::Left));
}

void CScreen::Key(std::uint32_t keysym)
{
    const auto [key, shift] = m_pState->FindKey(keysym);
    if (key == 0) throw std::runtime_error("the keyboard has no key for " + std::to_string(keysym));
    const int shift_key = m_pState->FindKey(KEY_SHIFT).first;
    if (shift) Fake(XCB_KEY_PRESS, shift_key);
    Fake(XCB_KEY_PRESS, key);
    Fake(XCB_KEY_RELEASE, key);
    if (shift) Fake(XCB_KEY_RELEASE, shift_key);
}

void CScreen::Type(const std::string& text)
{
    for (const char letter : text)
        Key(static_cast<unsigned char>(letter));
}

QImage CScreen::Grab(const QRect& area) const
{
    const QRect part = area.intersected({0, 0, CVirtualDisplay::WIDTH, CVirtualDisplay::HEIGHT});
    if (part.isEmpty()) return {};
    xcb_connection_t* const connection = m_pState->m_pConnection;
    const REPLY<xcb_get_image_reply_t> reply(
        xcb_get_image_reply(
            connection,
            xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, m_pState->m_Root,
                          static_cast<std::int16_t>(part.x()), static_cast<std::int16_t>(part.y()),
                          static_cast<std::uint16_t>(part.width()), static_cast<std::uint16_t>(part.height()),
                          ~0U),
            nullptr),
        &std::free);
    if (reply == nullptr) return {};
    QImage picture(part.size(), QImage::Format_RGB32);
    const auto bytes = static_cast<std::size_t>(xcb_get_image_data_length(reply.get()));
    if (bytes < static_cast<std::size_t>(picture.sizeInBytes())) return {};
    std::memcpy(picture.bits(), xcb_get_image_data(reply.get()),
                static_cast<std::size_t>(picture.sizeInBytes()));
    return picture;
}
