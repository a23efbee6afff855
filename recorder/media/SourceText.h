#pragma once

#include <string>
#include <string_view>

namespace recorder
{

/// The text of a source: "scene"; "lavfi:" with a filter graph; a device "/dev/videoN"; a URL; or a file.
inline constexpr std::string_view SCENE = "scene";
inline constexpr std::string_view FILTERS_PREFIX = "lavfi:";
inline constexpr std::string_view CAMERA_PREFIX = "/dev/video";

/// A camera or a URL: its pictures come when they come, and are of no use later.
bool IsLive(std::string_view spec);
/// Whether there is something in it that nobody else may see: a user's part, or a query.
bool HasSecrets(std::string_view spec);
/// A source's text, with what it holds before an '@' and after a '?' cut out when it is a URL.
std::string SourceWithoutSecrets(std::string_view spec);
/// The same for any text with URLs in it. Where one ends can only be guessed: too much may be cut out before an
/// '@'.
std::string WithoutSecrets(std::string_view text);

}  // namespace recorder
