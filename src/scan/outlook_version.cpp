#include "src/scan/outlook_version.h"

#include <cwchar>
#include <string>

#include "src/platform/registry.h"
#include "src/platform/text.h"
#include "src/platform/win32_error.h"

namespace {

// The default value of the registration's key, in capitals; empty when it is missing or no text.
std::wstring CurrentVersion() {
  platform::RegistryKey classes;
  Quorvel::Util::ThrowIfError(static_cast<DWORD>(classes.Open(HKEY_CLASSES_ROOT, L"", KEY_READ)));
  platform::RegistryKey key;
  if (key.Open(classes.Get(), L"Outlook.Application\\CurVer", KEY_READ) != ERROR_SUCCESS) return {};
  const auto value = key.Read(nullptr);
  if (!value || value->type != REG_SZ) return {};
  std::wstring text = value->Text();
  platform::UpperAscii(text);
  return text;
}

}  // namespace

void GetOutlookVersion(std::uint8_t& major, std::uint8_t& minor) {
  major = 11;
  minor = 0;
  int numbers[2] = {};
  // Outlook itself writes "Outlook.Application.16".
  const std::wstring version = CurrentVersion();
  const int read = _snwscanf(version.c_str(), version.size(), L"OUTLOOK.APPLICATION.%d.%d",
                             &numbers[0], &numbers[1]);
  if (read >= 1) major = static_cast<std::uint8_t>(numbers[0]);
  if (read >= 2) minor = static_cast<std::uint8_t>(numbers[1]);
}
