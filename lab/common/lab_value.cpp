#include "lab/common/lab_value.h"

#include "lab/common/registry_key.h"

namespace lab {
namespace {

constexpr wchar_t kConfigKey[] = L"Software\\QrvLab";

std::wstring FromEnvironment(const wchar_t* variable) {
  const DWORD size = GetEnvironmentVariableW(variable, nullptr, 0);
  if (size == 0) return {};
  std::wstring text(size, L'\0');
  text.resize(GetEnvironmentVariableW(variable, text.data(), size));
  return text;
}

}  // namespace

std::wstring ReadLabValue(const wchar_t* variable, const wchar_t* valueName) {
  std::wstring text = FromEnvironment(variable);
  if (!text.empty()) return text;
  const RegistryKey key = RegistryKey::OpenExisting(HKEY_CURRENT_USER, kConfigKey);
  if (!key.Open()) return {};
  const auto value = key.Read(valueName);
  return value ? TextOf(*value) : std::wstring();
}

bool WriteLabValue(const wchar_t* valueName, const std::wstring& text) {
  const RegistryKey key = RegistryKey::Create(HKEY_CURRENT_USER, kConfigKey);
  if (!key.Open()) return false;
  if (text.empty()) return key.Remove(valueName);
  return key.Write(valueName, TextValue(text, REG_SZ));
}

}  // namespace lab
