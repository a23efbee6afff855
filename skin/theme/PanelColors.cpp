#include "skin/theme/PanelColors.h"

XColor panel_color::FocusOn(XColor ground)
{
    const bool light = ContrastRatio(FOCUS_ON_LIGHT, ground) > ContrastRatio(FOCUS_ON_DARK, ground);
    return light ? FOCUS_ON_LIGHT : FOCUS_ON_DARK;
}
