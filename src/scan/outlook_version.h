// Which Outlook is installed.
#pragma once

#include <cstdint>

// Reads the version from Outlook's registration: 11.0 when there is none, minor 0 when it names the
// major number only. Each number is kept in 8 bits. Throws Quorvel::Util::Win32Error when
// HKEY_CLASSES_ROOT itself cannot be opened.
void GetOutlookVersion(std::uint8_t& major, std::uint8_t& minor);
