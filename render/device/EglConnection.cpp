#include "render/device/EglConnection.h"

#include <X11/Xlib-xcb.h>
#include <X11/Xlib.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <utility>

#include "inc/EntryCheck.h"
#include "inc/LogLine.h"
#include "inc/Mutex.h"

namespace
{

CMutex g_csDisplays;

// Never destroyed: errors of other displays arrive until the process ends.
std::multiset<Display*>& Displays() REQUIRES(g_csDisplays)
{
    ASSERT_HELD(g_csDisplays);
    // A new display may get the address of one that is just leaving.
    static auto& displays = *new std::multiset<Display*>;
    return displays;
}

// The X library has one handler of each kind for the whole process: ours look whose display it is and pass on
// the rest. For errors, `Set` is XSetErrorHandler; for a server that goes away, which ends our connection and
// not the process as the library's own handler would, XSetIOErrorHandler.
//
// A host may put its own in front of ours, which then passes on to ours for as long as it likes. What is put in
// front of that is another one of ours: an error would go round between the two.
template <auto Set, typename... Event>
class CDisplayHandlers
{
  public:
    // Unless one of ours is there.
    static void PutInFront() REQUIRES(g_csDisplays)
    {
        ASSERT_HELD(g_csDisplays);
        const Handler present = Set(m_Ours[0].handler);
        if (std::ranges::find(m_Ours, present, &Ours::handler) != m_Ours.end()) {
            Set(present);
            return;
        }
        const auto free = std::ranges::find(m_Ours, false, &Ours::stands);
        Ours& ours = free != m_Ours.end() ? *free : m_Ours.back();
        ours.former = present;
        ours.stands = true;
        Set(ours.handler);
    }

    // The former one comes back, unless somebody else's is in front of ours.
    static void TakeAway() REQUIRES(g_csDisplays)
    {
        ASSERT_HELD(g_csDisplays);
        const Handler present = Set(m_Ours[0].handler);
        const auto front = std::ranges::find(m_Ours, present, &Ours::handler);
        if (front != m_Ours.end()) front->stands = false;
        Set(front != m_Ours.end() ? front->former : present);
    }

  private:
    using Handler = int (*)(Display*, Event*...);
    struct Ours {
        Handler handler;
        Handler former = nullptr;
        bool stands = false;  // so that somebody may pass on to it
    };

    template <std::size_t Number>
    static int Handle(Display* display, Event*... event)
    {
        Handler former = nullptr;
        {
            const CMutexLock lock(g_csDisplays);
            if (Displays().contains(display)) return 0;
            former = m_Ours[Number].former;
        }
        return former != nullptr ? former(display, event...) : 0;
    }

    static constinit inline std::array<Ours, 4> m_Ours GUARDED_BY(g_csDisplays){
        {{Handle<0>}, {Handle<1>}, {Handle<2>}, {Handle<3>}}};
};

using CErrorHandlers = CDisplayHandlers<XSetErrorHandler, XErrorEvent>;
using CIOErrorHandlers = CDisplayHandlers<XSetIOErrorHandler>;

void WatchDisplay(Display* display)
{
    const CMutexLock lock(g_csDisplays);
    Displays().insert(display);
    CErrorHandlers::PutInFront();
    CIOErrorHandlers::PutInFront();
    XSetIOErrorExitHandler(
        display, [](Display*, void*) {}, nullptr);  // nor once the handler has returned
}

// After the display was closed, since closing it brings its last errors. With the last display the handlers of
// others come back.
void LeaveDisplay(Display* display)
{
    const CMutexLock lock(g_csDisplays);
    Displays().erase(Displays().find(display));
    if (!Displays().empty()) return;
    CErrorHandlers::TakeAway();
    CIOErrorHandlers::TakeAway();
}

// The step that failed when the adapter was opened last; empty when none did.
CMutex g_csFailure;
std::string& Failure() REQUIRES(g_csFailure)
{
    ASSERT_HELD(g_csFailure);
    static auto& failure = *new std::string;
    return failure;
}

// The user is told the same whichever step failed; this line names the step. Written once, as a wall without
// its adapter retries indefinitely.
void TellFailure(const std::string& step)
{
    const CMutexLock lock(g_csFailure);
    if (std::exchange(Failure(), step) != step) LogFault("CEglConnection::Initialize", step);
}

void ForgetFailure()
{
    const CMutexLock lock(g_csFailure);
    Failure().clear();
}

bool HasExtension(const char* extensions, const char* name)
{
    return extensions != nullptr &&
           (" " + std::string(extensions) + " ").find(" " + std::string(name) + " ") != std::string::npos;
}

GLuint CompileShader(GLenum kind, const char* text)
{
    const GLuint shader = glCreateShader(kind);
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    GLint compiled = GL_FALSE;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &compiled);
    if (compiled == GL_TRUE) return shader;
    glDeleteShader(shader);
    return 0;
}

}  // namespace

GLuint BuildPictureProgram()
{
    static constexpr const char* VERTEX = R"(
        attribute vec2 corner;
        uniform vec4 part;
        varying vec2 at;
        void main() {
            at = mix(part.xy, part.zw, corner);
            gl_Position = vec4(corner.x * 2.0 - 1.0, 1.0 - corner.y * 2.0, 0.0, 1.0);
        })";
    static constexpr const char* FRAGMENT = R"(
        #ifdef GL_FRAGMENT_PRECISION_HIGH
        precision highp float;  // ten bits don't tell the columns of a wide picture apart
        #else
        precision mediump float;
        #endif
        uniform sampler2D picture;
        varying vec2 at;
        void main() { gl_FragColor = vec4(texture2D(picture, at).rgb, 1.0); })";
    const GLuint vertex = CompileShader(GL_VERTEX_SHADER, VERTEX);
    const GLuint fragment = CompileShader(GL_FRAGMENT_SHADER, FRAGMENT);
    GLuint program = 0;
    if (vertex != 0 && fragment != 0) {
        program = glCreateProgram();
        glAttachShader(program, vertex);
        glAttachShader(program, fragment);
        glLinkProgram(program);
        GLint linked = GL_FALSE;
        glGetProgramiv(program, GL_LINK_STATUS, &linked);
        if (linked != GL_TRUE) {
            glDeleteProgram(program);
            program = 0;
        }
    }
    glDeleteShader(vertex);
    glDeleteShader(fragment);
    return program;
}

bool CEglConnection::IsUsable() const
{
    return m_pXcb != nullptr && xcb_connection_has_error(m_pXcb) == 0;
}

std::shared_ptr<CEglConnection> CEglConnection::Open()
{
    std::shared_ptr<CEglConnection> connection(new CEglConnection);
    if (!connection->Initialize()) return nullptr;
    ForgetFailure();
    return connection;
}

bool CEglConnection::Initialize()
{
    const auto fail = [](const std::string& step) {
        TellFailure(step);
        return false;
    };
    const auto eglFail = [&fail](const char* step) {
        char error[16];
        std::snprintf(error, sizeof error, "0x%04X", static_cast<unsigned>(eglGetError()));
        return fail(std::string(step) + " failed: EGL error " + error);
    };
    XInitThreads();
    m_pXDisplay = XOpenDisplay(nullptr);
    if (m_pXDisplay == nullptr)
        return fail(std::string("the X display \"") + XDisplayName(nullptr) + "\" does not answer");
    WatchDisplay(m_pXDisplay);
    m_pXcb = XGetXCBConnection(m_pXDisplay);

    m_Display = eglGetDisplay(reinterpret_cast<EGLNativeDisplayType>(m_pXDisplay));
    if (m_Display == EGL_NO_DISPLAY) return eglFail("eglGetDisplay");
    if (eglInitialize(m_Display, nullptr, nullptr) != EGL_TRUE) return eglFail("eglInitialize");
    if (eglBindAPI(EGL_OPENGL_ES_API) != EGL_TRUE) return eglFail("eglBindAPI for OpenGL ES");
    const EGLint wanted[] = {EGL_SURFACE_TYPE,
                             EGL_WINDOW_BIT,
                             EGL_RENDERABLE_TYPE,
                             EGL_OPENGL_ES2_BIT,
                             EGL_RED_SIZE,
                             8,
                             EGL_GREEN_SIZE,
                             8,
                             EGL_BLUE_SIZE,
                             8,
                             EGL_ALPHA_SIZE,
                             0,
                             EGL_NONE};
    // Windows take only configurations of the visual that they were made with: the screen's own.
    EGLConfig configs[64];
    EGLint count = 0;
    eglChooseConfig(m_Display, wanted, configs, 64, &count);
    const auto visual =
        static_cast<EGLint>(XVisualIDFromVisual(DefaultVisual(m_pXDisplay, DefaultScreen(m_pXDisplay))));
    for (EGLint i = 0; i < count && m_Config == nullptr; ++i) {
        EGLint id = 0;
        eglGetConfigAttrib(m_Display, configs[i], EGL_NATIVE_VISUAL_ID, &id);
        if (id == visual) m_Config = configs[i];
    }
    const char* const extensions = eglQueryString(m_Display, EGL_EXTENSIONS);
    if (m_Config == nullptr) return fail("the driver has no configuration for windows of the screen's visual");
    if (!HasExtension(extensions, "EGL_KHR_surfaceless_context"))
        return fail("the driver lacks EGL_KHR_surfaceless_context");
    m_bHasRobustness = HasExtension(extensions, "EGL_EXT_create_context_robustness");

    // What only a context can tell.
    bool robust = false;
    const EGLContext context = CreateContext(robust);
    if (context == EGL_NO_CONTEXT) return eglFail("eglCreateContext");
    if (!MakeCurrent(EGL_NO_SURFACE, context)) {
        eglFail("eglMakeCurrent");
        DestroyContext(context);
        return false;
    }
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &m_iMaxTextureSize);
    const auto* const driver = reinterpret_cast<const char*>(glGetString(GL_RENDERER));
    m_bSoftware = driver != nullptr &&
                  (std::strstr(driver, "llvmpipe") != nullptr || std::strstr(driver, "softpipe") != nullptr);
    const bool takesBgra = HasExtension(reinterpret_cast<const char*>(glGetString(GL_EXTENSIONS)),
                                        "GL_EXT_texture_format_BGRA8888");
    if (robust)
        m_pGetResetStatus = reinterpret_cast<unsigned (*)()>(eglGetProcAddress("glGetGraphicsResetStatusEXT"));
    MakeCurrent(EGL_NO_SURFACE, EGL_NO_CONTEXT);
    DestroyContext(context);
    return takesBgra || fail("the driver lacks GL_EXT_texture_format_BGRA8888");
}

CEglConnection::~CEglConnection()
{
    if (m_Display != EGL_NO_DISPLAY) eglTerminate(m_Display);
    if (m_pXDisplay == nullptr) return;
    XCloseDisplay(m_pXDisplay);
    LeaveDisplay(m_pXDisplay);
}

bool CEglConnection::GetScreenSize(std::int32_t& width, std::int32_t& height) const
{
    const int screen = DefaultScreen(m_pXDisplay);
    width = DisplayWidth(m_pXDisplay, screen);
    height = DisplayHeight(m_pXDisplay, screen);
    return IsUsable();
}

EGLContext CEglConnection::CreateContext(bool& robust)
{
    const EGLint plain[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE};
    const EGLint reporting[] = {EGL_CONTEXT_CLIENT_VERSION,
                                2,
                                EGL_CONTEXT_OPENGL_ROBUST_ACCESS_EXT,
                                EGL_TRUE,
                                EGL_CONTEXT_OPENGL_RESET_NOTIFICATION_STRATEGY_EXT,
                                EGL_LOSE_CONTEXT_ON_RESET_EXT,
                                EGL_NONE};
    robust = false;
    if (!IsUsable()) return EGL_NO_CONTEXT;
    // The interface is chosen for each thread by itself, and recovery runs on a link thread.
    eglBindAPI(EGL_OPENGL_ES_API);
    if (m_bHasRobustness) {
        const EGLContext context = eglCreateContext(m_Display, m_Config, EGL_NO_CONTEXT, reporting);
        robust = context != EGL_NO_CONTEXT;
        if (robust) return context;
    }
    return eglCreateContext(m_Display, m_Config, EGL_NO_CONTEXT, plain);
}

void CEglConnection::DestroyContext(EGLContext context)
{
    eglDestroyContext(m_Display, context);
}

// A window that its owner still lends may be destroyed from outside: with its parent by a foreign host, for
// example.
bool CEglConnection::IsDrawable(std::uintptr_t systemWindow) const
{
    const xcb_get_geometry_cookie_t asked = xcb_get_geometry(m_pXcb, static_cast<xcb_drawable_t>(systemWindow));
    const std::unique_ptr<xcb_get_geometry_reply_t, decltype(&std::free)> reply(
        xcb_get_geometry_reply(m_pXcb, asked, nullptr), &std::free);
    return reply != nullptr && reply->width <= m_iMaxTextureSize && reply->height <= m_iMaxTextureSize;
}

EGLSurface CEglConnection::CreateWindowSurface(std::uintptr_t systemWindow)
{
    // The driver accepts a window that the server doesn't know and draws into nothing, and one beyond its own
    // bounds, in which the software rasteriser crashes.
    if (!IsUsable() || !IsDrawable(systemWindow)) return EGL_NO_SURFACE;
    return eglCreateWindowSurface(m_Display, m_Config, static_cast<EGLNativeWindowType>(systemWindow), nullptr);
}

void CEglConnection::DestroyWindowSurface(EGLSurface surface)
{
    eglDestroySurface(m_Display, surface);
}

void CEglConnection::GetSurfaceSize(EGLSurface surface, std::int32_t& width, std::int32_t& height) const
{
    eglQuerySurface(m_Display, surface, EGL_WIDTH, &width);
    eglQuerySurface(m_Display, surface, EGL_HEIGHT, &height);
}

bool CEglConnection::MakeCurrent(EGLSurface surface, EGLContext context)
{
    if (!IsUsable() || eglMakeCurrent(m_Display, surface, surface, context) != EGL_TRUE) return false;
    if (surface != EGL_NO_SURFACE) eglSwapInterval(m_Display, 0);
    return true;
}

bool CEglConnection::SwapBuffers(EGLSurface surface)
{
    // On a broken connection the software driver never comes to the end of a picture: it divides it by the
    // longest request, which is 0 then. The drawing has asked the server last; the swap itself only writes.
    return IsUsable() && eglSwapBuffers(m_Display, surface) == EGL_TRUE;
}

bool CEglConnection::IsContextLost() const
{
    return !IsUsable() || eglGetError() == EGL_CONTEXT_LOST;
}

bool CEglConnection::IsGraphicsReset() const
{
    return m_pGetResetStatus != nullptr && m_pGetResetStatus() != GL_NO_ERROR;
}
