#pragma once

#include <cstdint>
#include <string>

/// The text of a key in the present language; "" when the language has none. Panels' thread only.
std::string FindText(const char* key);

/// The text of a message box's button in the present language, by its identifier; "" for one without
/// a text. Panels' thread only.
std::string GetBoxButtonText(std::int32_t id);
