#include "lab/common/registry_key.h"

#include <algorithm>
#include <cstring>

namespace lab {
namespace {

// The names that `next` enumerates; one that is longer than a key's can be is none of MAPI's.
template <class Next>
std::vector<std::wstring> Names(const Next& next) {
  std::vector<std::wstring> names;
  wchar_t name[256];
  for (DWORD i = 0;; ++i) {
    DWORD length = ARRAYSIZE(name);
    const LSTATUS status = next(i, name, &length);
    if (status == ERROR_SUCCESS) names.emplace_back(name, length);
    if (status != ERROR_SUCCESS && status != ERROR_MORE_DATA) return names;
  }
}

}  // namespace

RegistryKey RegistryKey::OpenExisting(HKEY parent, const std::wstring& path, REGSAM access) {
  HKEY key = nullptr;
  const LSTATUS status = RegOpenKeyExW(parent, path.c_str(), 0, access, &key);
  return RegistryKey(status == ERROR_SUCCESS ? key : nullptr);
}

RegistryKey RegistryKey::Create(HKEY parent, const std::wstring& path) {
  HKEY key = nullptr;
  const LSTATUS status =
      RegCreateKeyExW(parent, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
  return RegistryKey(status == ERROR_SUCCESS ? key : nullptr);
}

RegistryKey::~RegistryKey() {
  if (key_) RegCloseKey(key_);
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
  return Names([this](DWORD index, wchar_t* name, DWORD* length) {
    return RegEnumKeyExW(key_, index, name, length, nullptr, nullptr, nullptr, nullptr);
  });
}

std::vector<std::wstring> RegistryKey::ValueNames() const {
  return Names([this](DWORD index, wchar_t* name, DWORD* length) {
    return RegEnumValueW(key_, index, name, length, nullptr, nullptr, nullptr, nullptr);
  });
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
  std::copy_n(text.data(), text.size(), reinterpret_cast<wchar_t*>(value.data.data()));
  return value;
}

}  // namespace lab
