#pragma once

#include <QIcon>
#include <memory>
#include <string_view>

#include "skin/theme/Theme.h"

/// An icon that draws the theme's shapes at whatever size it is asked for, in the mark colours of `element`'s
/// states. It keeps the theme alive. The theme must have an icon of that name.
QIcon MakeVectorIcon(std::shared_ptr<const CTheme> theme, std::string_view name, const Element& element);
