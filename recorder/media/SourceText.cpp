#include "recorder/media/SourceText.h"

#include <algorithm>

namespace recorder
{

namespace
{

constexpr std::string_view SCHEME_END = "://";
constexpr std::string_view ENDS_OF_URL = " \t\r\n'\"<>";

}  // namespace

bool IsLive(std::string_view spec)
{
    if (spec.starts_with(FILTERS_PREFIX) || spec.starts_with("file:")) return false;
    return spec.starts_with(CAMERA_PREFIX) || spec.find(SCHEME_END) != std::string_view::npos;
}

bool HasSecrets(std::string_view spec)
{
    return WithoutSecrets(spec) != spec;
}

std::string WithoutSecrets(std::string_view text)
{
    std::string shown;
    for (size_t at = 0; at < text.size();) {
        const size_t scheme = text.find(SCHEME_END, at);
        if (scheme == std::string_view::npos) return shown.append(text.substr(at));
        const size_t begin = scheme + SCHEME_END.size();
        const size_t end = std::min(text.find_first_of(ENDS_OF_URL, begin), text.size());
        std::string_view url = text.substr(begin, end - begin);
        const size_t query = url.find('?');
        const bool cut = query != std::string_view::npos;
        // A password may hold a '/' or '?' itself: the last '@' counts wherever it stands.
        const size_t user = url.rfind('@');
        const bool named = user != std::string_view::npos;
        if (cut && (!named || query > user)) url = url.substr(0, query);
        if (named) url = url.substr(std::min(user + 1, url.size()));
        shown.append(text.substr(at, begin - at)).append(url);
        if (cut && (!named || query > user)) shown += "?...";
        at = end;
    }
    return shown;
}

}  // namespace recorder
