#pragma once

/// Registers the layout records and the nodes of this folder with the archives' registry; further calls do
/// nothing. The archives call it themselves. Classes of other folders have functions of their own, which
/// whoever wants them read or written calls at its start.
void RegisterModelClasses();
