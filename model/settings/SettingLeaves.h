#pragma once

#include "model/tree/Leaf.h"

// The leaves under CGlobalSetting, in this order. They hold nothing but their names; the values are in
// CGlobalSetting.

class CStorageSetting : public CLeaf
{
};

class CNetworkSetting : public CLeaf
{
};

class CSystemSetting : public CLeaf
{
};

class CLogSetting : public CLeaf
{
};
