#pragma once

#include <cstdint>
#include <functional>
#include <string>

class QWidget;

/// Makes the calling thread, which has to be the application object's, the panels' thread: installs the window
/// backend of platform/windows/windows.h, has the event loop serve the messages sent and posted to this thread,
/// and has the message hooks of MessagePump.h see its input. Counted; each start needs one stop on the same
/// thread. False, with nothing started, without an application object for windows or from a foreign thread.
bool StartQtPlatform();

/// Takes one start back; with the last one the former backend is installed again.
void StopQtPlatform();

/// Has the event loop serve what is posted to this thread, also when nothing more comes. Internal to this
/// folder.
void ServePostedMessages();

/// Names what gives message boxes and modal dialogs their look before they are shown; an empty function ends
/// that. Panels' thread only.
void SetDialogDecorator(std::function<void(QWidget&)> decorator);

/// Calls the decorator, if there is one.
void DecorateDialog(QWidget& dialog);

/// Names what gives the buttons of message boxes their texts, by identifier (IDOK, IDYES, ...), in UTF-8; an
/// empty text, or an empty function, leaves the toolkit's own. Panels' thread only.
void SetButtonTexts(std::function<std::string(std::int32_t id)> texts);

/// The text of a button, "" for the toolkit's own.
std::string GetButtonText(std::int32_t id);
