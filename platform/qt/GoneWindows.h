#pragma once

class QWidget;

/// Makes the X windows of `widget` and of all others beneath its window anew when the server has lost them: it
/// takes them along when the toolkit gives the window around them another one (shown with another place in the
/// stack), and the toolkit isn't told. The widgets are hidden and shown again for it; the keyboard stays where
/// it was. Panels' thread only.
void RestoreGoneWindows(QWidget& widget);
