#pragma once

#include <string>
#include <string_view>

#include "skin/theme/Theme.h"

// The theme file: UTF-8 text, one statement a line, a comment after ';'. The first statement is `theme 1
// "Name"`. What a line names has to stand above it.
//
//   color NAME COLOR                COLOR is #RRGGBB, #RRGGBBAA or the name of a colour
//   gradient NAME COLOR COLOR       from top to bottom
//   icon NAME WIDTH HEIGHT          the square or box in whose units the shapes are given
//     fill STEPS                    STEPS: M x y, L x y, C x1 y1 x2 y2 x y, O x y radius,
//     stroke WIDTH STEPS            R x y width height, Z
//   end
//   element NAME [: BASE]           everything is taken over from BASE and may be changed
//     border N | radius N | padding Y X | size WIDTH HEIGHT | font PERCENT [bold]
//     icon NAME | icon none
//     STATE [fill F] [border C] [text C] [mark C] [ring C]
//   end                             STATE: normal, hover, pressed, checked, disabled
//                                   F: colour, gradient, none
//
// What a state doesn't say, of its own or by its BASE, it takes from `normal`. Numbers are bounded, and so are
// the counts of everything, so that a damaged file costs neither memory nor time.

struct ThemeError {
    int line = 0;  // counted from 1; 0 when the fault is the file as a whole
    std::string text;
};

/// Reads a whole theme file. On success `theme` is replaced; otherwise it stays as it was and `error` names the
/// first fault. A theme lacking an element of RequiredElements is a fault.
bool ParseTheme(std::string_view text, CTheme& theme, ThemeError& error);

/// Reads and parses the file at `hostPath`, a path of this machine.
bool LoadTheme(const std::string& hostPath, CTheme& theme, ThemeError& error);
