#pragma once

#include <string>
#include <vector>

// The folders that the system's convention of names holds for; codec and recorder have their own.
inline const std::vector<std::string> HOUSE = {"activex",  "common", "host",   "inc",    "model",
                                               "platform", "record", "remote", "render", "skin"};
