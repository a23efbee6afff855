#pragma once

/// Lets the C library give large blocks back to the system when they are freed, on whatever thread. Otherwise
/// it keeps some for each thread once one was freed, and the link threads of a wall, in which the graphics
/// driver takes the pixels of cells that become large in turn, come to 30 MB each. Before threads begin.
void GiveLargeBlocksBack();
