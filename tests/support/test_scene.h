#pragma once

#include <cstdint>

#include "tests/support/test_picture.h"

/// What the synthetic camera sees.
enum class ETestScene {
    Surveillance,  ///< a textured still background with a little noise, three moving objects, a running clock
    Lively,        ///< everything moves: a panning texture that also changes its light
    Noise,         ///< random samples: every code and escape, largest levels
    Rich,          ///< nothing rests: panes of texture that go different ways, with noise on every sample
    Still,         ///< the background of Surveillance without noise, one small object, the clock
};

struct TestSceneShape {
    int width = 176;
    int height = 144;
    ETestScene scene = ETestScene::Surveillance;
    uint32_t seed = 1;
};

/// Draws picture `frame` of the scene.
void DrawScene(const TestSceneShape& shape, int frame, TestPicture* picture);
