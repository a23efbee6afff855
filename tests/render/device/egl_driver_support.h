#pragma once

#include "render/device/EglTypes.h"

#include <atomic>

/// Stands between the product and the graphics driver: the program's own EGL entry points look here first and
/// go on to the driver.
struct XEglDriver {
    std::atomic<bool> m_bReportsResets{false};  // whether the driver has the robustness extension
    std::atomic<GLenum> m_ResetStatus{GL_NO_ERROR};
    std::atomic<EGLint> m_MakeCurrentError{EGL_SUCCESS};  // refuses to make a context current
    std::atomic<EGLint> m_SwapError{EGL_SUCCESS};
    std::atomic<int> m_iContexts{0};  // alive
    std::atomic<int> m_iMostContexts{0};
    std::atomic<int> m_iResetQuestions{0};
};

XEglDriver& EglDriver();

/// Puts the driver as it is.
void ResetEglDriver();
