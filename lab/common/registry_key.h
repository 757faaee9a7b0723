// An open registry key. For the lab's own use; profile_registry.h is what others want.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "lab/common/profile_registry.h"

namespace lab {

class RegistryKey {
 public:
  // Each gives a key that is not Open() when the registry refuses: one that holds nothing, and that
  // nothing can be written to.
  static RegistryKey OpenExisting(HKEY parent, const std::wstring& path, REGSAM access = KEY_READ);
  static RegistryKey Create(HKEY parent, const std::wstring& path);

  RegistryKey() = default;
  RegistryKey(RegistryKey&& other) noexcept : key_(std::exchange(other.key_, nullptr)) {}
  RegistryKey& operator=(RegistryKey&& other) noexcept {
    std::swap(key_, other.key_);
    return *this;
  }
  ~RegistryKey();

  bool Open() const { return key_ != nullptr; }

  // Value names may be empty for the key's default value.
  std::optional<RawValue> Read(const std::wstring& name) const;
  bool Write(const std::wstring& name, const RawValue& value) const;
  bool Remove(const std::wstring& name) const;

  // In the order in which the registry enumerates them.
  std::vector<std::wstring> SubkeyNames() const;
  std::vector<std::wstring> ValueNames() const;

 private:
  explicit RegistryKey(HKEY key) : key_(key) {}

  HKEY key_ = nullptr;
};

// Deletes the key with everything below it; succeeds when it is not there.
bool DeleteKeyTree(HKEY parent, const std::wstring& path);

// The characters of a text value up to the first zero.
std::wstring TextOf(const RawValue& value);
// `text` with its terminating zero, as a value of the given registry type.
RawValue TextValue(std::wstring_view text, uint32_t type);

}  // namespace lab
