#include "src/platform/registry.h"

#include <algorithm>

namespace platform {

std::wstring RegistryValue::Text() const {
  std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
  std::copy_n(bytes.begin(), text.size() * sizeof(wchar_t), reinterpret_cast<BYTE*>(text.data()));
  text.erase(std::find(text.begin(), text.end(), L'\0'), text.end());
  return text;
}

RegistryKey::~RegistryKey() {
  if (key_) RegCloseKey(key_);
}

LSTATUS RegistryKey::Open(HKEY parent, const wchar_t* path, REGSAM access) {
  HKEY opened = nullptr;
  const LSTATUS error = RegOpenKeyExW(parent, path, 0, access, &opened);
  // Closed at the end of the call.
  const RegistryKey previous(std::move(*this));
  if (error == ERROR_SUCCESS) key_ = opened;
  return error;
}

std::optional<RegistryValue> RegistryKey::Read(const wchar_t* name) const {
  RegistryValue value;
  DWORD size = 0;
  LSTATUS error = RegQueryValueExW(key_, name, nullptr, &value.type, nullptr, &size);
  // The value may grow between the two calls.
  while (error == ERROR_SUCCESS || error == ERROR_MORE_DATA) {
    // Without a buffer the call would succeed and tell no more than the size.
    size = std::max<DWORD>(size, 1);
    value.bytes.resize(size);
    error = RegQueryValueExW(key_, name, nullptr, &value.type, value.bytes.data(), &size);
    if (error != ERROR_SUCCESS) continue;
    value.bytes.resize(size);
    return value;
  }
  return std::nullopt;
}

}  // namespace platform
