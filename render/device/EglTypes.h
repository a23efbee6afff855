#pragma once

// EGL without the X11 headers, whose macros (None, Bool, Status) would reach into every file that includes this
// one.
#ifndef EGL_NO_X11
#define EGL_NO_X11
#endif
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES2/gl2.h>
#include <GLES2/gl2ext.h>
