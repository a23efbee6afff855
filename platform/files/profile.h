#pragma once

#include <cstdint>
#include <string>

// Ini files by the rules of the private-profile calls: UTF-8, with or without a byte order mark, lines that end
// with LF or CR LF. Sections and keys are compared without regard to (ASCII) case; blanks around keys and
// values are trimmed, then one pair of single or double quotes around a value is removed. The first match wins:
// of two sections with one name only the first is looked at. Lines that begin with ';' are comments; lines that
// are neither a section nor have an '=' mean nothing. A NUL byte ends its line for the reader. Paths are in the
// system's form. Each call reopens the file. At any time from any thread and any process. The rules
// themselves are in IniText.h.

/// Copies the value of `key` in `section` (or `fallback`, whose trailing blanks are dropped, when there is no
/// such file, section or key; null counts as "") into `buffer`, cut to `size` - 1 bytes and terminated. The cut
/// is by bytes and may fall into a character. Returns the bytes copied without the terminator; 0, and nothing
/// is written, without a buffer. With a null key the names of all keys of the section, with a null section the
/// names of all sections, each terminated, with one more terminator after the last; when these do not fit, the
/// last two bytes are zero and the result is `size` - 2.
std::uint32_t GetPrivateProfileStringA(const char* section, const char* key, const char* fallback, char* buffer,
                                       std::uint32_t size, const char* path);

/// The value as a decimal number as far as its leading digits go (a leading '-' is honoured, "0x" opens a
/// hexadecimal number; a value without digits is 0, digits beyond 32 bits wrap), or `fallback` when there is no
/// such key or its value is empty.
std::int32_t GetPrivateProfileIntA(const char* section, const char* key, std::int32_t fallback,
                                   const char* path);

/// Writes `key`=`value` into `section`, creating file, section and key as needed, but no folder; every other
/// line, comments, order and line ends included, stays. A null value removes the key, a null key the section.
/// The file is replaced atomically under a lock that other processes honour (the file ".<name>.lock" beside it,
/// which stays); when that fails (disk full, no right to write, or a text that could not be read back, as one
/// with a line break) the old file stands untouched, a message goes to the debugger output and the result is
/// false. Blanks around the value are not written.
bool WritePrivateProfileStringA(const char* section, const char* key, const char* value, const char* path);

/// GetPrivateProfileStringA into a buffer of `size` bytes, as text.
std::string GetProfileText(const char* section, const char* key, const char* fallback, std::uint32_t size,
                           const std::string& path);

/// Full path of the application profile, a file of the same form under the XDG config home. Makes its folder.
std::string GetApplicationProfilePath();
