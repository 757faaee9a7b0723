#include "lab/common/lab_config.h"

#include "lab/common/registry_key.h"

namespace lab {
namespace {

constexpr wchar_t kConfigKey[] = L"Software\\QrvLab";
constexpr wchar_t kDirectoryValue[] = L"Directory";

std::wstring FromEnvironment(const wchar_t* variable) {
  std::wstring text(GetEnvironmentVariableW(variable, nullptr, 0), L'\0');
  text.resize(GetEnvironmentVariableW(variable, text.data(), static_cast<DWORD>(text.size())));
  return text;
}

}  // namespace

std::wstring ReadLabValue(const wchar_t* variable, const wchar_t* valueName) {
  std::wstring text = FromEnvironment(variable);
  if (!text.empty()) return text;
  const auto value = RegistryKey::OpenExisting(HKEY_CURRENT_USER, kConfigKey).Read(valueName);
  return value ? TextOf(*value) : std::wstring();
}

std::wstring LabDirectory() {
  std::wstring directory = ReadLabValue(L"QRVLAB_DIR", kDirectoryValue);
  while (directory.ends_with(L'\\') || directory.ends_with(L'/')) directory.pop_back();
  return directory;
}

bool SetLabDirectory(const std::wstring& directory) {
  const RegistryKey key = RegistryKey::Create(HKEY_CURRENT_USER, kConfigKey);
  return directory.empty() ? key.Remove(kDirectoryValue)
                           : key.Write(kDirectoryValue, TextValue(directory, REG_SZ));
}

std::wstring JournalPath(const std::wstring& directory) {
  return directory.empty() ? std::wstring() : directory + L"\\journal.txt";
}

}  // namespace lab
