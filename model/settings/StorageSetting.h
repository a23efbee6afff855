#pragma once

#include "model/tree/Leaf.h"

/// The leaf that stands for the storage settings in the tree. Holds nothing but its name; the values are in
/// CGlobalSetting.
class CStorageSetting : public CLeaf
{
};
