// Another name for this computer.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

#include "lab/common/registry_key.h"

namespace e2e {

// The computer's name in this registry, for as long as it lives.
class ActiveComputerName {
 public:
  explicit ActiveComputerName(const std::optional<std::wstring>& name)
      : key_(lab::RegistryKey::OpenExisting(
            HKEY_LOCAL_MACHINE,
            L"SYSTEM\\CurrentControlSet\\Control\\ComputerName\\ActiveComputerName",
            KEY_ALL_ACCESS)) {
    if (!key_.Open()) return;
    kept_ = key_.Read(kValue);
    changed_ =
        kept_ && (name ? key_.Write(kValue, lab::TextValue(*name, REG_SZ)) : key_.Remove(kValue));
  }
  ~ActiveComputerName() {
    if (changed_) key_.Write(kValue, *kept_);
  }
  ActiveComputerName(const ActiveComputerName&) = delete;
  ActiveComputerName& operator=(const ActiveComputerName&) = delete;

 private:
  static constexpr wchar_t kValue[] = L"ComputerName";
  const lab::RegistryKey key_;
  std::optional<lab::RawValue> kept_;
  bool changed_ = false;
};

// Whether programs' names of the computer come from the registry without a restart.
inline bool RegistryNamesTheComputer() {
  return GetProcAddress(GetModuleHandleW(L"ntdll"), "wine_get_version");
}

}  // namespace e2e
