#pragma once

#include "tests/support/mpeg4_streams.h"

/// Draws picture `iFrame` of the shape's scene.
void DrawScene(const Mpeg4StreamShape& shape, int iFrame, Mpeg4Picture* pPicture);
