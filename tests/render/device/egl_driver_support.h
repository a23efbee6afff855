#pragma once

#include <atomic>
#include <functional>

#include "render/device/EglTypes.h"

/// Stands between the product and the graphics driver: the program's own EGL entry points look here first and
/// go on to the driver.
struct DriverState {
    std::atomic<bool> reportsResets{false};  // whether the driver has the robustness extension
    std::atomic<GLenum> resetStatus{GL_NO_ERROR};
    std::atomic<EGLint> makeCurrentError{EGL_SUCCESS};  // refuses to make a context current
    std::atomic<EGLint> swapError{EGL_SUCCESS};
    std::atomic<int> contexts{0};  // alive
    std::atomic<int> mostContexts{0};
    std::atomic<int> windowSurfaces{0};  // alive
    std::atomic<bool> remembers{false};  // surfaces that were destroyed since a context was without one
    std::atomic<int> mistakable{0};      // surfaces that were made meanwhile
    std::atomic<int> resetQuestions{0};
    std::atomic<int> swaps{0};
    std::atomic<int> deletedTextures{0};   // names that the driver was told to delete
    std::function<void()> onSizeQuestion;  // before the driver is asked for the size of a surface
};

DriverState& EglDriver();

/// Puts the driver as it is.
void ResetEglDriver();
