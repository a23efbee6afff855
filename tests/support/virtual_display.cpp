#include "tests/support/virtual_display.h"

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
using Reply = std::unique_ptr<T, decltype(&std::free)>;

}  // namespace

void CVirtualDisplay::Enter() const
{
    ::setenv("DISPLAY", Name().c_str(), 1);
    ::setenv("QT_QPA_PLATFORM", "xcb", 1);
    ::setenv("LIBGL_ALWAYS_SOFTWARE", "1", 1);
    ::unsetenv("WAYLAND_DISPLAY");
}

struct CScreen::State {
    xcb_connection_t* connection = nullptr;
    xcb_window_t root = XCB_NONE;
    Reply<xcb_get_keyboard_mapping_reply_t> keys{nullptr, &std::free};
    int firstKey = 0;

    /// The key that has `keysym` and whether Shift makes it so; 0 for none.
    std::pair<int, bool> FindKey(std::uint32_t keysym) const
    {
        const int perKey = keys->keysyms_per_keycode;
        const xcb_keysym_t* const symbols = xcb_get_keyboard_mapping_keysyms(keys.get());
        const int count = xcb_get_keyboard_mapping_keysyms_length(keys.get());
        for (int level = 0; level < 2 && level < perKey; ++level) {
            for (int i = level; i < count; i += perKey) {
                if (symbols[i] == keysym) return {firstKey + i / perKey, level == 1};
            }
        }
        return {0, false};
    }
};

CScreen::CScreen(const std::string& display) : m_pState(std::make_unique<State>())
{
    m_pState->connection = xcb_connect(display.c_str(), nullptr);
    if (xcb_connection_has_error(m_pState->connection) != 0)
        throw std::runtime_error("no connection to the display " + display);
    const xcb_setup_t* const setup = xcb_get_setup(m_pState->connection);
    m_pState->root = xcb_setup_roots_iterator(setup).data->root;
    m_pState->firstKey = setup->min_keycode;
    m_pState->keys.reset(xcb_get_keyboard_mapping_reply(
        m_pState->connection,
        xcb_get_keyboard_mapping(m_pState->connection, setup->min_keycode,
                                 static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1)),
        nullptr));
    if (m_pState->keys == nullptr) throw std::runtime_error("the display tells no keys");
}

CScreen::~CScreen()
{
    xcb_disconnect(m_pState->connection);
}

// Returns when the server has dealt with it.
void CScreen::Fake(int type, int detail, const QPoint& place) const
{
    xcb_connection_t* const connection = m_pState->connection;
    std::free(xcb_request_check(
        connection, xcb_test_fake_input_checked(connection, static_cast<std::uint8_t>(type),
                                                static_cast<std::uint8_t>(detail), XCB_CURRENT_TIME,
                                                m_pState->root, static_cast<std::int16_t>(place.x()),
                                                static_cast<std::int16_t>(place.y()), 0)));
}

void CScreen::MoveTo(const QPoint& place)
{
    Fake(XCB_MOTION_NOTIFY, 0, place);
}

void CScreen::Click(const QPoint& place, EButton button)
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
    Fake(XCB_BUTTON_PRESS, static_cast<int>(EButton::Left));
}

void CScreen::Release(const QPoint& to)
{
    MoveTo(to);
    Fake(XCB_BUTTON_RELEASE, static_cast<int>(EButton::Left));
}

void CScreen::Key(std::uint32_t keysym)
{
    const auto [key, shift] = m_pState->FindKey(keysym);
    if (key == 0) throw std::runtime_error("the keyboard has no key for " + std::to_string(keysym));
    const int shiftKey = m_pState->FindKey(KEY_SHIFT).first;
    if (shift) Fake(XCB_KEY_PRESS, shiftKey);
    Fake(XCB_KEY_PRESS, key);
    Fake(XCB_KEY_RELEASE, key);
    if (shift) Fake(XCB_KEY_RELEASE, shiftKey);
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
    xcb_connection_t* const connection = m_pState->connection;
    const Reply<xcb_get_image_reply_t> reply(
        xcb_get_image_reply(
            connection,
            xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, m_pState->root,
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
