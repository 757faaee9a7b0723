// A setting of the lab: an environment variable, or, when there is no such variable, a text value
// of the registry key HKEY_CURRENT_USER\Software\QrvLab.
#pragma once

#include <string>

namespace lab {

// Empty when neither is there.
std::wstring ReadLabValue(const wchar_t* variable, const wchar_t* valueName);

// Writes the registry value; an empty text removes it. False when the registry refuses.
bool WriteLabValue(const wchar_t* valueName, const std::wstring& text);

}  // namespace lab
