#include "tests/support/window_manager.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xcbext.h>

#include <cstdlib>
#include <stdexcept>

namespace
{

constexpr int TIME_LIMIT_MS = 60000;
constexpr int GRAB_LOOK_MS = 500;
constexpr std::uint32_t FROM_A_PAGER = 2;
constexpr std::uint32_t ICONIC = 3;
constexpr std::uint32_t MOVED_BY_A_PAGER = 0x2300;  // x and y, by the window's own gravity

CWindowManager* g_pManager = nullptr;

template <typename T>
using Reply = std::unique_ptr<T, decltype(&std::free)>;
using Property = Reply<xcb_get_property_reply_t>;

[[noreturn]] void BecomeManager(const std::string& display, const std::string& home)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int nowhere = ::open("/dev/null", O_RDWR);
    ::dup2(nowhere, STDOUT_FILENO);
    ::dup2(nowhere, STDERR_FILENO);
    ::setenv("DISPLAY", display.c_str(), 1);
    ::setenv("HOME", home.c_str(), 1);
    ::execlp("jwm", "jwm", "-f", (home + "/settings").c_str(), nullptr);
    ::_exit(127);
}

}  // namespace

struct CWindowManager::State {
    explicit State(const std::string& display) : connection(xcb_connect(display.c_str(), nullptr))
    {
        if (xcb_connection_has_error(connection) != 0)
            throw std::runtime_error("no connection to the display " + display);
        root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
        own = xcb_generate_id(connection);
        xcb_create_window(connection, XCB_COPY_FROM_PARENT, own, root, 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    }
    ~State() { xcb_disconnect(connection); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    xcb_atom_t Atom(const std::string& name) const
    {
        const Reply<xcb_intern_atom_reply_t> reply(
            xcb_intern_atom_reply(
                connection,
                xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.c_str()), nullptr),
            &std::free);
        return reply != nullptr ? reply->atom : XCB_NONE;
    }
    Property Get(xcb_window_t window, const char* name) const
    {
        const auto asked = xcb_get_property(connection, 0, window, Atom(name), XCB_GET_PROPERTY_TYPE_ANY, 0, 1);
        return {xcb_get_property_reply(connection, asked, nullptr), &std::free};
    }
    bool Has(xcb_window_t window, const char* name) const
    {
        const Property reply = Get(window, name);
        return reply != nullptr && reply->value_len > 0;
    }
    /// The property's first value of 32 bits; 0 when there is none.
    std::uint32_t Value(xcb_window_t window, const char* name) const
    {
        const Property reply = Get(window, name);
        const bool any = reply != nullptr && reply->format == 32 && reply->value_len > 0;
        return any ? *static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get())) : 0;
    }
    /// Until the server tells of a property. False when it tells nothing, or when something happens to the
    /// descriptor `end`.
    bool WaitForEvent(int end = -1) const
    {
        xcb_generic_event_t* event = xcb_poll_for_event(connection);
        while (event == nullptr) {
            pollfd heard[] = {{xcb_get_file_descriptor(connection), POLLIN, 0}, {end, POLLIN, 0}};
            if (::poll(heard, 2, TIME_LIMIT_MS) <= 0 || heard[1].revents != 0) return false;
            event = xcb_poll_for_event(connection);
            if (event == nullptr && xcb_connection_has_error(connection) != 0) return false;
        }
        std::free(event);
        return true;
    }
    void HearOfProperties(xcb_window_t window) const
    {
        const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(connection, window, XCB_CW_EVENT_MASK, &events);
    }

    xcb_connection_t* const connection;
    xcb_window_t root = XCB_NONE;
    xcb_window_t own = XCB_NONE;  // never shown
};

CWindowManager::CWindowManager(const std::string& display) : m_pState(std::make_unique<State>(display))
{
    m_Folder.Write("settings", "<?xml version=\"1.0\"?>\n<JWM><FocusModel>click</FocusModel></JWM>\n");
    m_pState->HearOfProperties(m_pState->root);
    m_pState->HearOfProperties(m_pState->own);
    int ends[2];  // the process has the second one for as long as it lives
    if (::pipe(ends) != 0) throw std::runtime_error("no pipe for the window manager");
    m_iProcess = ::fork();
    if (m_iProcess == 0) {
        ::close(ends[0]);
        BecomeManager(display, m_Folder.Path());
    }
    ::close(ends[1]);
    const bool manages = WaitUntilItManages(ends[0]);
    ::close(ends[0]);
    if (!manages) {
        End();
        throw std::runtime_error("the window manager does not start");
    }
    g_pManager = this;
}

CWindowManager::~CWindowManager()
{
    g_pManager = nullptr;
    End();
}

CWindowManager& CWindowManager::Get()
{
    return *g_pManager;
}

void CWindowManager::End()
{
    ::kill(m_iProcess, SIGKILL);
    ::waitpid(m_iProcess, nullptr, 0);
}

// False when its process ends.
bool CWindowManager::WaitUntilItManages(int end) const
{
    for (const char* property : {"_NET_SUPPORTING_WM_CHECK", "_NET_SUPPORTED"}) {
        while (!m_pState->Has(m_pState->root, property))
            if (!m_pState->WaitForEvent(end)) return false;
    }
    Sync();
    return true;
}

void CWindowManager::Continue()
{
    ::kill(m_iProcess, SIGCONT);
}

void CWindowManager::Stop()
{
    Sync();
    for (;;) {
        ::kill(m_iProcess, SIGSTOP);
        ::waitpid(m_iProcess, nullptr, WUNTRACED);
        if (DoesDisplayAnswer()) return;
        // It had taken the server for itself.
        Continue();
        Sync();
    }
}

bool CWindowManager::DoesDisplayAnswer() const
{
    xcb_connection_t* const connection = m_pState->connection;
    const unsigned question = xcb_get_input_focus(connection).sequence;
    xcb_flush(connection);
    void* reply = nullptr;
    xcb_generic_error_t* error = nullptr;
    while (xcb_poll_for_reply(connection, question, &reply, &error) == 0) {
        pollfd heard{xcb_get_file_descriptor(connection), POLLIN, 0};
        if (::poll(&heard, 1, GRAB_LOOK_MS) > 0) continue;
        xcb_discard_reply(connection, question);
        return false;
    }
    std::free(reply);
    std::free(error);
    return true;
}

// By a question that it answers with a property of the window.
void CWindowManager::Sync() const
{
    xcb_delete_property(m_pState->connection, m_pState->own, m_pState->Atom("_NET_FRAME_EXTENTS"));
    Ask("_NET_REQUEST_FRAME_EXTENTS", m_pState->own);
    while (!m_pState->Has(m_pState->own, "_NET_FRAME_EXTENTS")) {
        if (!m_pState->WaitForEvent()) throw std::runtime_error("the window manager does not answer");
    }
}

void CWindowManager::Ask(const char* type, std::uintptr_t window, std::uint32_t first, std::uint32_t second,
                         std::uint32_t third) const
{
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = static_cast<xcb_window_t>(window);
    message.type = m_pState->Atom(type);
    message.data.data32[0] = first;
    message.data.data32[1] = second;
    message.data.data32[2] = third;
    xcb_send_event(m_pState->connection, 0, m_pState->root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    xcb_flush(m_pState->connection);
}

void CWindowManager::Close(std::uintptr_t window) const
{
    Ask("_NET_CLOSE_WINDOW", window, XCB_CURRENT_TIME, FROM_A_PAGER);
}

void CWindowManager::Minimise(std::uintptr_t window) const
{
    Ask("WM_CHANGE_STATE", window, ICONIC);
}

void CWindowManager::Activate(std::uintptr_t window) const
{
    Ask("_NET_ACTIVE_WINDOW", window, FROM_A_PAGER);
}

void CWindowManager::Move(std::uintptr_t window, const QPoint& place) const
{
    Ask("_NET_MOVERESIZE_WINDOW", window, MOVED_BY_A_PAGER, static_cast<std::uint32_t>(place.x()),
        static_cast<std::uint32_t>(place.y()));
}

QRect CWindowManager::PlaceOf(std::uintptr_t window) const
{
    xcb_connection_t* const connection = m_pState->connection;
    const auto id = static_cast<xcb_window_t>(window);
    const auto askedAttributes = xcb_get_window_attributes(connection, id);
    const auto askedSize = xcb_get_geometry(connection, id);
    const auto askedPlace = xcb_translate_coordinates(connection, id, m_pState->root, 0, 0);
    const Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(connection, askedAttributes, nullptr), &std::free);
    const Reply<xcb_get_geometry_reply_t> size(xcb_get_geometry_reply(connection, askedSize, nullptr),
                                               &std::free);
    const Reply<xcb_translate_coordinates_reply_t> place(
        xcb_translate_coordinates_reply(connection, askedPlace, nullptr), &std::free);
    if (attributes == nullptr || size == nullptr || place == nullptr) return {};
    if (attributes->map_state != XCB_MAP_STATE_VIEWABLE) return {};
    return {place->dst_x, place->dst_y, size->width, size->height};
}

bool CWindowManager::HasKeyboard(std::uintptr_t window) const
{
    xcb_connection_t* const connection = m_pState->connection;
    const Reply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr), &std::free);
    return reply != nullptr && reply->focus == window;
}
