#pragma once

#include "recorder/scene/Canvas.h"

namespace recorder
{

// Figures that several scenes share. Their size is in scene units; they stand on (x, y).

struct Person {
    Colour coat;
    Colour trousers;
    Colour skin = Rgb(0xD9A582);
    Colour hair = Rgb(0x3A2A20);
};
/// Somebody out of a small town's people; the same number is always the same person.
Person PersonOf(uint32_t number);

/// Seen from the side, height tall; step counts steps, and a whole number stands still. Faces right when
/// facing is positive.
void DrawPerson(Canvas& canvas, double x, double y, double height, double step, double facing,
                const Person& person);

/// Seen from the side, length long, driving to the right when facing is positive; travelled turns the wheels.
void DrawCar(Canvas& canvas, double x, double y, double length, double facing, double travelled,
             const Colour& paint, bool lights);

}  // namespace recorder
