#pragma once

#include "model/tree/Leaf.h"

/// The leaf that stands for the system settings in the tree. Holds nothing but its name; the values are in
/// CGlobalSetting.
class CSystemSetting : public CLeaf
{
};
