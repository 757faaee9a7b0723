#include "lab/common/registry_key.h"

#include <cstring>

namespace lab {

RegistryKey RegistryKey::OpenExisting(HKEY parent, const std::wstring& path, REGSAM access) {
  RegistryKey key;
  if (RegOpenKeyExW(parent, path.c_str(), 0, access, &key.key_) != ERROR_SUCCESS)
    key.key_ = nullptr;
  return key;
}

RegistryKey RegistryKey::Create(HKEY parent, const std::wstring& path) {
  RegistryKey key;
  if (RegCreateKeyExW(parent, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key.key_,
                      nullptr) != ERROR_SUCCESS) {
    key.key_ = nullptr;
  }
  return key;
}

RegistryKey::~RegistryKey() {
  if (key_ != nullptr) RegCloseKey(key_);
}

std::optional<RawValue> RegistryKey::Read(const std::wstring& name) const {
  RawValue value;
  DWORD type = 0;
  DWORD size = 0;
  LSTATUS status = RegQueryValueExW(key_, name.c_str(), nullptr, &type, nullptr, &size);
  // Another process may write a longer value between the two calls.
  while (status == ERROR_SUCCESS || status == ERROR_MORE_DATA) {
    value.data.resize(size);
    status = RegQueryValueExW(key_, name.c_str(), nullptr, &type, value.data.data(), &size);
    if (status != ERROR_SUCCESS) continue;
    value.data.resize(size);
    value.type = type;
    return value;
  }
  return std::nullopt;
}

bool RegistryKey::Write(const std::wstring& name, const RawValue& value) const {
  return RegSetValueExW(key_, name.c_str(), 0, value.type, value.data.data(),
                        static_cast<DWORD>(value.data.size())) == ERROR_SUCCESS;
}

bool RegistryKey::Remove(const std::wstring& name) const {
  const LSTATUS status = RegDeleteValueW(key_, name.c_str());
  return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND;
}

std::vector<std::wstring> RegistryKey::SubkeyNames() const {
  std::vector<std::wstring> names;
  wchar_t name[256];  // the longest name that a key can have, and its zero
  for (DWORD i = 0;; ++i) {
    DWORD length = ARRAYSIZE(name);
    if (RegEnumKeyExW(key_, i, name, &length, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      return names;
    }
    names.emplace_back(name, length);
  }
}

std::vector<std::wstring> RegistryKey::ValueNames() const {
  std::vector<std::wstring> names;
  wchar_t name[256];  // longer names are none of MAPI's
  for (DWORD i = 0;; ++i) {
    DWORD length = ARRAYSIZE(name);
    const LSTATUS status =
        RegEnumValueW(key_, i, name, &length, nullptr, nullptr, nullptr, nullptr);
    if (status == ERROR_MORE_DATA) continue;
    if (status != ERROR_SUCCESS) return names;
    names.emplace_back(name, length);
  }
}

bool DeleteKeyTree(HKEY parent, const std::wstring& path) {
  const LSTATUS status = RegDeleteTreeW(parent, path.c_str());
  return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND;
}

std::wstring TextOf(const RawValue& value) {
  std::wstring text(value.data.size() / sizeof(wchar_t), L'\0');
  if (!text.empty()) std::memcpy(text.data(), value.data.data(), text.size() * sizeof(wchar_t));
  return text.substr(0, text.find(L'\0'));
}

RawValue TextValue(std::wstring_view text, uint32_t type) {
  RawValue value;
  value.type = type;
  value.data.resize((text.size() + 1) * sizeof(wchar_t));
  if (!text.empty()) {
    std::memcpy(value.data.data(), text.data(), text.size() * sizeof(wchar_t));
  }
  return value;
}

}  // namespace lab
