#include "recorder/server/SourcesFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "recorder/protocol/Wire.h"

namespace recorder
{

namespace
{

constexpr mode_t OTHERS = S_IRWXG | S_IRWXO;

std::string Trimmed(const std::string& text)
{
    constexpr const char* BLANKS = " \t\r";
    const size_t first = text.find_first_not_of(BLANKS);
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

[[noreturn]] void Refuse(int line, const std::string& why)
{
    throw SourcesFault("line " + std::to_string(line) + ": " + why);
}

int ChannelOf(const std::string& line, int lineNumber)
{
    int channel = 0;
    int used = 0;
    if (std::sscanf(line.c_str(), "[%3d]%n", &channel, &used) != 1 ||
        static_cast<size_t>(used) != line.size() || channel < 1 || channel > MAX_CHANNELS)
        Refuse(lineNumber, "a section is a channel, [1] to [" + std::to_string(MAX_CHANNELS) + "]");
    return channel;
}

void Set(SourceEntry& entry, const std::string& key, const std::string& value, int line)
{
    if (key == "url") {
        entry.url = value;
    } else if (key == "name") {
        if (const auto wrong = CheckName(value); !wrong.empty()) Refuse(line, wrong);
        entry.name = value;
    } else if (key == "size") {
        if (const auto wrong = CheckSize(value); !wrong.empty()) Refuse(line, wrong);
        ParseSize(value, entry.width, entry.height);
    } else {
        Refuse(line, "'" + key + "' is none of url, name, size");
    }
}

}  // namespace

std::string CheckName(const std::string& text)
{
    try {
        static_cast<void>(nlohmann::json(text).dump());
    } catch (const nlohmann::json::type_error&) {
        return "a name is text in UTF-8";
    }
    return {};
}

bool ParseSize(const std::string& text, int& width, int& height)
{
    int used = 0;
    return std::sscanf(text.c_str(), "%5dx%5d%n", &width, &height, &used) == 2 &&
           static_cast<size_t>(used) == text.size();
}

std::string CheckSize(const std::string& text)
{
    int width = 0;
    int height = 0;
    if (!ParseSize(text, width, height)) return "a size is WIDTHxHEIGHT";
    if (width % 16 != 0 || height % 16 != 0) return "width and height must be multiples of 16";
    if (width < 128 || height < 96 || width > 1920 || height > 1088)
        return "a picture must be between 128x96 and 1920x1088";
    return {};
}

std::map<int, SourceEntry> ParseSources(const std::string& text)
{
    std::map<int, SourceEntry> entries;
    SourceEntry* entry = nullptr;
    std::istringstream in(text);
    int number = 0;
    for (std::string raw; std::getline(in, raw);) {
        ++number;
        const std::string line = Trimmed(raw);
        if (line.empty() || line.front() == '#') continue;
        if (line.front() == '[') {
            const auto [it, added] = entries.try_emplace(ChannelOf(line, number));
            if (!added) Refuse(number, "channel " + std::to_string(it->first) + " stands here twice");
            entry = &it->second;
            continue;
        }
        // A URL alone may hold one too.
        const size_t equals = line.find_first_of("=:");
        if (equals == std::string::npos || line[equals] == ':')
            Refuse(number, "neither [CHANNEL] nor KEY = VALUE");
        if (entry == nullptr) Refuse(number, "this belongs below a [CHANNEL]");
        Set(*entry, Trimmed(line.substr(0, equals)), Trimmed(line.substr(equals + 1)), number);
    }
    return entries;
}

std::map<int, SourceEntry> ReadSources(const std::string& path)
{
    struct stat status {
    };
    if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        throw SourcesFault("there is no such file");
    if ((status.st_mode & OTHERS) != 0)
        throw SourcesFault("others may read or write it; it holds passwords: chmod 600");
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    if (!in) throw SourcesFault("it can't be read");
    return ParseSources(text.str());
}

}  // namespace recorder
