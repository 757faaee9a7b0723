#include "lab/common/lab_config.h"

#include "lab/common/registry_key.h"

namespace lab {
namespace {

constexpr wchar_t kVariable[] = L"QRVLAB_DIR";
constexpr wchar_t kConfigKey[] = L"Software\\QrvLab";
constexpr wchar_t kDirectoryValue[] = L"Directory";

std::wstring FromEnvironment() {
  const DWORD size = GetEnvironmentVariableW(kVariable, nullptr, 0);
  if (size == 0) return {};
  std::wstring value(size, L'\0');
  value.resize(GetEnvironmentVariableW(kVariable, value.data(), size));
  return value;
}

std::wstring FromRegistry() {
  RegistryKey key = RegistryKey::OpenExisting(HKEY_CURRENT_USER, kConfigKey);
  if (!key.Open()) return {};
  const auto value = key.Read(kDirectoryValue);
  return value ? TextOf(*value) : std::wstring();
}

std::wstring FileIn(const std::wstring& directory, const wchar_t* name) {
  return directory.empty() ? std::wstring() : directory + L'\\' + name;
}

}  // namespace

std::wstring LabDirectory() {
  std::wstring directory = FromEnvironment();
  if (directory.empty()) directory = FromRegistry();
  while (!directory.empty() && (directory.back() == L'\\' || directory.back() == L'/')) {
    directory.pop_back();
  }
  return directory;
}

bool SetLabDirectory(const std::wstring& directory) {
  RegistryKey key = RegistryKey::Create(HKEY_CURRENT_USER, kConfigKey);
  if (!key.Open()) return false;
  if (directory.empty()) return key.Remove(kDirectoryValue);
  return key.Write(kDirectoryValue, TextValue(directory, REG_SZ));
}

std::wstring JournalPath(const std::wstring& directory) {
  return FileIn(directory, L"journal.txt");
}

std::wstring FaultPlanPath(const std::wstring& directory) {
  return FileIn(directory, L"faults.txt");
}

}  // namespace lab
