#pragma once

/// Registers the layout records and the nodes of this folder with the archives' registry; further calls do
/// nothing. The archives call it themselves. Classes of other folders have functions of their own, which
/// a program that reads or writes them calls at its start.
void RegisterModelClasses();
