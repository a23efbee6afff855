#pragma once

#include <string_view>

/// How deep the elements of an XML text nest, as the parser of the archives will find them; the parser recurses
/// once for each level, so the depth is looked at before. Stops where the text ends, where it is so malformed
/// that the parser gives up, or as soon as the depth exceeds `limit`.
int GetXmlDepth(std::string_view text, int limit);
