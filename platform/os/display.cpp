#include "platform/os/display.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <system_error>

#include "platform/os/ascii.h"

namespace fs = std::filesystem;

namespace
{

// An attribute file of a device: "0x1002"; 0 when it isn't there.
std::uint32_t ReadAttribute(const fs::path& file)
{
    std::string text;
    std::ifstream(file) >> text;
    try {
        return static_cast<std::uint32_t>(std::stoul(text, nullptr, 0));
    } catch (const std::exception&) {
        return 0;
    }
}

// "card0" is an adapter, "card0-HDMI-A-1" one of its connectors.
bool CardNumber(const std::string& name, int& number)
{
    constexpr std::string_view PREFIX = "card";
    constexpr std::size_t MOST_DIGITS = 6;
    if (!name.starts_with(PREFIX) || name.size() == PREFIX.size() ||
        name.size() > PREFIX.size() + MOST_DIGITS) {
        return false;
    }
    number = 0;
    for (const char c : name.substr(PREFIX.size())) {
        if (!IsAsciiDigit(c)) return false;
        number = number * 10 + (c - '0');
    }
    return true;
}

fs::path FindPrimaryDevice(const fs::path& drmFolder)
{
    std::map<int, fs::path> cards;
    std::error_code error;
    for (auto entry = fs::directory_iterator(drmFolder, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        int number = 0;
        const fs::path device = entry->path() / "device";
        if (CardNumber(entry->path().filename(), number) && ReadAttribute(device / "vendor") != 0) {
            cards[number] = device;
        }
    }
    for (const auto& [number, device] : cards) {
        if (ReadAttribute(device / "boot_vga") == 1) return device;
    }
    return cards.empty() ? fs::path() : cards.begin()->second;
}

}  // namespace

std::string GetDisplayAdapterId(const std::string& drmFolder)
{
    const fs::path device = FindPrimaryDevice(drmFolder);
    const auto attribute = [&](const char* name) { return device.empty() ? 0 : ReadAttribute(device / name); };
    std::array<char, 64> id{};
    std::snprintf(id.data(), id.size(), "PCI\\VEN_%04X&DEV_%04X&SUBSYS_%04X%04X&REV_%02X",
                  attribute("vendor") & 0xFFFF, attribute("device") & 0xFFFF,
                  attribute("subsystem_device") & 0xFFFF, attribute("subsystem_vendor") & 0xFFFF,
                  attribute("revision") & 0xFF);
    return id.data();
}

std::string GetPrimaryDisplayAdapterId()
{
    return GetDisplayAdapterId("/sys/class/drm");
}
