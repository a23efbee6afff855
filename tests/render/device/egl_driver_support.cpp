#include "tests/render/device/egl_driver_support.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

namespace
{

thread_local EGLint t_Error = EGL_SUCCESS;  // of an injected failure, until it is asked for

template <typename TFunction>
TFunction Real(const char* name, TFunction)
{
    return reinterpret_cast<TFunction>(::dlsym(RTLD_NEXT, name));
}

#define REAL(function) Real(#function, &function)

GLenum ResetStatus()
{
    ++EglDriver().resetQuestions;
    return EglDriver().resetStatus;
}

}  // namespace

DriverState& EglDriver()
{
    static DriverState driver;
    return driver;
}

void ResetEglDriver()
{
    DriverState& driver = EglDriver();
    driver.reportsResets = false;
    driver.resetStatus = GL_NO_ERROR;
    driver.makeCurrentError = EGL_SUCCESS;
    driver.swapError = EGL_SUCCESS;
    driver.mostContexts = driver.contexts.load();
    driver.resetQuestions = 0;
    driver.swaps = 0;
    driver.remembers = false;
    driver.mistakable = 0;
    driver.deletedTextures = 0;
    driver.onSizeQuestion = {};
}

extern "C" {

const char* eglQueryString(EGLDisplay display, EGLint name)
{
    const char* const real = REAL(eglQueryString)(display, name);
    if (name != EGL_EXTENSIONS || real == nullptr) return real;
    static constexpr const char* ROBUSTNESS = "EGL_EXT_create_context_robustness";
    thread_local std::string told;
    told = real;
    if (const auto at = told.find(ROBUSTNESS); at != std::string::npos) told.erase(at, std::strlen(ROBUSTNESS));
    if (EglDriver().reportsResets) told += std::string(" ") + ROBUSTNESS;
    return told.c_str();
}

EGLContext eglCreateContext(EGLDisplay display, EGLConfig config, EGLContext shared, const EGLint*)
{
    const EGLint plain[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE};
    const EGLContext made = REAL(eglCreateContext)(display, config, shared, plain);
    DriverState& driver = EglDriver();
    if (made != EGL_NO_CONTEXT) driver.mostContexts = std::max<int>(driver.mostContexts, ++driver.contexts);
    return made;
}

EGLBoolean eglDestroyContext(EGLDisplay display, EGLContext context)
{
    --EglDriver().contexts;
    return REAL(eglDestroyContext)(display, context);
}

EGLSurface eglCreateWindowSurface(EGLDisplay display, EGLConfig config, EGLNativeWindowType window,
                                  const EGLint* attributes)
{
    const EGLSurface made = REAL(eglCreateWindowSurface)(display, config, window, attributes);
    if (made != EGL_NO_SURFACE) ++EglDriver().windowSurfaces;
    if (EglDriver().remembers) ++EglDriver().mistakable;
    return made;
}

EGLBoolean eglDestroySurface(EGLDisplay display, EGLSurface surface)
{
    --EglDriver().windowSurfaces;
    EglDriver().remembers = true;
    return REAL(eglDestroySurface)(display, surface);
}

EGLBoolean eglMakeCurrent(EGLDisplay display, EGLSurface draw, EGLSurface read, EGLContext context)
{
    const EGLint error = EglDriver().makeCurrentError;
    if (context != EGL_NO_CONTEXT && error != EGL_SUCCESS) {
        t_Error = error;
        return EGL_FALSE;
    }
    t_Error = EGL_SUCCESS;
    if (context != EGL_NO_CONTEXT && draw == EGL_NO_SURFACE) EglDriver().remembers = false;
    return REAL(eglMakeCurrent)(display, draw, read, context);
}

EGLBoolean eglSwapBuffers(EGLDisplay display, EGLSurface surface)
{
    ++EglDriver().swaps;
    if (const EGLint error = EglDriver().swapError; error != EGL_SUCCESS) {
        t_Error = error;
        return EGL_FALSE;
    }
    t_Error = EGL_SUCCESS;
    return REAL(eglSwapBuffers)(display, surface);
}

EGLBoolean eglQuerySurface(EGLDisplay display, EGLSurface surface, EGLint attribute, EGLint* value)
{
    if (EglDriver().onSizeQuestion) EglDriver().onSizeQuestion();
    return REAL(eglQuerySurface)(display, surface, attribute, value);
}

EGLint eglGetError()
{
    const EGLint injected = std::exchange(t_Error, EGL_SUCCESS);
    return injected != EGL_SUCCESS ? injected : REAL(eglGetError)();
}

void glDeleteTextures(GLsizei count, const GLuint* names)
{
    EglDriver().deletedTextures += count;
    REAL(glDeleteTextures)(count, names);
}

__eglMustCastToProperFunctionPointerType eglGetProcAddress(const char* name)
{
    if (std::strcmp(name, "glGetGraphicsResetStatusEXT") == 0 && EglDriver().reportsResets)
        return reinterpret_cast<__eglMustCastToProperFunctionPointerType>(&ResetStatus);
    return REAL(eglGetProcAddress)(name);
}

}  // extern "C"
