#pragma once

#include <QIcon>

// Icons of the panels, drawn at whatever size they are asked for.

/// States of a channel in the device tree, by m_iStatus: closed, open, recording.
QIcon MakeDeviceIcon(int status);

/// The side bar's folders, by their resource number: 20000 logon, 20001 device list, 20002 PTZ, 20003 remote
/// records, 20004 colour. A null icon for another number.
QIcon MakeFolderIcon(int resource);
