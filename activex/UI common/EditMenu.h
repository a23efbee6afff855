#pragma once

class QLineEdit;

/// Gives a field a menu (undo, cut, copy, paste, ...) with texts in the current language in place of the
/// toolkit's. Panels' thread only.
void GiveEditMenu(QLineEdit& edit);
