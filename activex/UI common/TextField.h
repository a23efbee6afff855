#pragma once

class QLineEdit;

/// Gives a field a menu (undo, cut, copy, paste, ...) with texts in the current language in place of the
/// toolkit's, and keeps it at one line: of what is pasted it takes what stands before a line break. Panels'
/// thread only.
void SetUpTextField(QLineEdit& edit);
