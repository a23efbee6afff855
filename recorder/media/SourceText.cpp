#include "recorder/media/SourceText.h"

#include <algorithm>

namespace recorder
{

namespace
{

constexpr std::string_view SCHEME_END = "://";
constexpr std::string_view ENDS_OF_URL = " \t\r\n'\"<>";

// A URL ends before one of these, or where the text ends.
std::string CutOut(std::string_view text, std::string_view endsOfUrl)
{
    std::string shown;
    for (size_t at = 0; at < text.size();) {
        const size_t scheme = text.find(SCHEME_END, at);
        if (scheme == std::string_view::npos) return shown.append(text.substr(at));
        const size_t begin = scheme + SCHEME_END.size();
        shown.append(text.substr(at, begin - at));
        // A password may hold anything: the last '@' before the next URL counts wherever it stands.
        const size_t next = text.find(SCHEME_END, text.find_first_of(endsOfUrl, begin));
        const std::string_view own = text.substr(begin, next - begin);
        const size_t user = own.rfind('@');
        const size_t host = begin + (user == std::string_view::npos ? 0 : user + 1);
        const size_t end = std::min(text.find_first_of(endsOfUrl, host), text.size());
        const std::string_view url = text.substr(host, end - host);
        const size_t query = url.find('?');
        shown.append(url.substr(0, query));
        if (query != std::string_view::npos) shown += "?...";
        at = end;
    }
    return shown;
}

}  // namespace

bool IsLive(std::string_view spec)
{
    if (spec.starts_with(FILTERS_PREFIX) || spec.starts_with("file:")) return false;
    return spec.starts_with(CAMERA_PREFIX) || spec.find(SCHEME_END) != std::string_view::npos;
}

bool HasSecrets(std::string_view spec)
{
    return SourceWithoutSecrets(spec) != spec;
}

std::string SourceWithoutSecrets(std::string_view spec)
{
    return CutOut(spec, {});
}

std::string WithoutSecrets(std::string_view text)
{
    return CutOut(text, ENDS_OF_URL);
}

}  // namespace recorder
