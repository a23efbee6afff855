#pragma once

#include "recorder/scene/Canvas.h"

namespace recorder
{

// Figures that several scenes share. Their size is in scene units; they stand on (x, y).

struct XPerson {
    XColour m_Coat;
    XColour m_Trousers;
    XColour m_Skin = Rgb(0xD9A582);
    XColour m_Hair = Rgb(0x3A2A20);
};
// Somebody out of a small town's people; the same number is always the same person.
XPerson PersonOf(uint32_t dwNumber);

// Seen from the side, dHeight tall; dStep counts steps, and a whole number stands still. Faces right when
// dFacing is positive.
void DrawPerson(CCanvas& canvas, double dX, double dY, double dHeight, double dStep, double dFacing,
                const XPerson& person);

// Seen from the side, dLength long, driving to the right when dFacing is positive; dTravelled turns the wheels.
void DrawCar(CCanvas& canvas, double dX, double dY, double dLength, double dFacing, double dTravelled,
             const XColour& paint, bool bLights);

}  // namespace recorder
