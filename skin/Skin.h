#pragma once

#include <cstdint>
#include <string>

class QIcon;
class QMenu;
class QString;
class QWidget;

// The look of every window of the control. Start, load, then attach: what is attached follows the theme until
// the skin is stopped. Panels' thread only, but for StartSkin and LoadSkin, which need no application object
// yet.

/// Starts the skin for the module whose address is given; the two further values are kept for callers of the
/// old form and not looked at. Zero when it can't start: no module, or started already.
std::int32_t StartSkin(const void* module, std::intptr_t reserved1, std::intptr_t reserved2);

/// Loads the theme file at `path` (the system's form). Zero when the skin isn't started or the file is missing
/// or faulty; the debugger output then names file, line and fault, and the former theme stays. A second load
/// changes the look of everything attached. Message boxes and modal dialogs are skinned as "DialogMain" from
/// then on.
std::int32_t LoadSkin(const std::string& path);

/// Gives every attached window back its own look and forgets the theme. Without a start it does nothing.
void StopSkin();

/// Skins a dialog with all controls in it, also those that are added later. False without a loaded theme,
/// without a window, or when the theme has no such element; the same for the next three.
bool SkinDialog(QWidget* window, const char* element);

/// Skins a window that a renderer draws into: its ground only, which Qt paints while no stream runs.
bool SkinRenderWindow(QWidget* window, const char* element);

/// Gives one control the look of an element: frame, colours, font, least size, and the element's icon on a
/// button.
bool SkinControl(QWidget* control, const char* element);

/// Skins a popup menu and its submenus, as the element "Menu".
bool SkinPopupMenu(QMenu* menu);

/// The theme's icon of that name, drawn at any size, in the colour of the element's mark; a null icon when
/// there is none.
QIcon SkinIcon(const QString& icon, const char* element = "Button");
