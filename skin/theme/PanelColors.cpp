#include "skin/theme/PanelColors.h"

Color panel_color::FocusOn(Color ground)
{
    const bool light = ContrastRatio(FOCUS_ON_LIGHT, ground) > ContrastRatio(FOCUS_ON_DARK, ground);
    return light ? FOCUS_ON_LIGHT : FOCUS_ON_DARK;
}
