#pragma once

#include <string>

// The user's own folders by the rules of the desktop base directories, as paths of this machine without a slash
// behind. They need not exist; without a home they can't.

/// "watchwall" below XDG_DATA_HOME, or below ".local/share" of the home.
std::string UserDataFolder();

/// "watchwall" below XDG_CONFIG_HOME, or below ".config" of the home.
std::string UserConfigFolder();
