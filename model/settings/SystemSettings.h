#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

// Every key of "config\system.ini" in one place: readers name the key and know neither section, default nor
// path. The documents hold the same table; a test compares them. At any time from any thread. Each read opens
// the file, so a change holds at the next use; a station and a channel ask once, when they begin.

enum class ESetting {
    Language,
    RecordPath,
    PicturePath,
    Render,
    Profile,
    DirectoryServer,
    DirectoryPort,
    RendezvousPort,
    SharedReceive,
    StandardChroma,
    Count
};

enum class ESettingKind {
    Text,
    Number,
    Switch,  // on when 1; looked for in section "Operator", then in "System", then it is as the profile has it
};

struct SettingKey {
    const char* name;
    ESettingKind kind;
    const char* fallback;  // what a missing key reads as
    std::uint32_t bytes;   // of the buffer of a text, its terminator included; 0 for the others
    const char* meaning;   // one sentence, as the documents show it
    // Of a text that names a folder: that beside the module which stands in for an empty one under the profile
    // operator.
    const char* operatorFolder = nullptr;
};

inline constexpr std::array<SettingKey, static_cast<std::size_t>(ESetting::Count)> SETTING_KEYS = {{
    {"Language", ESettingKind::Text, "", 16,
     "The language file in config, written at each start by the system's language."},
    {"RecordPath", ESettingKind::Text, "", 260,
     "The folder of the records; when none was chosen, records beside the module under the profile operator.",
     "records"},
    {"PicturePath", ESettingKind::Text, "", 260,
     "Text that is put right before the path of the folder snapshot, where the snapshots are when it is "
     "empty."},
    {"Render", ESettingKind::Number, "0", 0, "The renderer: 0 chooses by the display adapter."},
    {"Profile", ESettingKind::Text, "", 16,
     "classic or operator; when it is missing, what the container asks for, else classic. Operator turns on "
     "all switches."},
    {"DirectoryServer", ESettingKind::Text, "127.0.0.1", 256,
     "Host of the directory and of the rendezvous, a name or an address."},
    {"DirectoryPort", ESettingKind::Number, "6800", 0, "TCP port of the directory."},
    {"RendezvousPort", ESettingKind::Number, "4567", 0, "UDP port of the rendezvous."},
    {"SharedReceive", ESettingKind::Switch, "0", 0, "All open channels of a station play at once."},
    {"StandardChroma", ESettingKind::Switch, "0", 0,
     "Chroma vectors are rounded by the table of the standard."},
}};

constexpr const SettingKey& GetSettingKey(ESetting setting)
{
    return SETTING_KEYS[static_cast<std::size_t>(setting)];
}

/// Full path of "config\system.ini", in the system's form.
std::string GetSettingsPath();

/// The text of a key, cut to its buffer; its default when the key is missing. RecordPath is a folder's path in
/// the system's form.
std::string ReadSettingText(ESetting setting);
/// The number of a key by the rules of GetPrivateProfileIntA.
std::int32_t ReadSettingNumber(ESetting setting);
/// The number when it is a port's; else the default.
std::uint16_t ReadSettingPort(ESetting setting);
bool ReadSettingSwitch(ESetting setting);

/// Writes a key of section "System"; false when the file can't be written, which is logged.
bool WriteSetting(ESetting setting, const std::string& value);

/// Which behaviour the system has where ours differs from its own: everything exactly as it always was, or with
/// the switches above on.
enum class EProfile { Classic, Operator };

/// By the key "Profile"; when the file doesn't say, what was asked for last.
EProfile GetProfile();

/// For the container, before the control's window is made; the process's default is Classic.
void AskForProfile(EProfile profile);
