// Owner of an open registry key, and the values read from it. Nothing here prints or throws
// anything but memory errors.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace platform {

struct RegistryValue {
  DWORD type = REG_NONE;
  std::vector<BYTE> bytes;

  // The bytes as UTF-16 up to the first terminator, or to the end when there is none.
  std::wstring Text() const;
};

class RegistryKey {
 public:
  RegistryKey() = default;
  RegistryKey(RegistryKey&& other) noexcept : key_(std::exchange(other.key_, nullptr)) {}
  RegistryKey& operator=(RegistryKey&& other) noexcept {
    std::swap(key_, other.key_);
    return *this;
  }
  ~RegistryKey();

  // Opens the key `path` below `parent` ("" opens `parent` itself) in place of the one held.
  // Returns the Win32 error code; on failure the owner holds none.
  LSTATUS Open(HKEY parent, const wchar_t* path, REGSAM access);

  // The key, still owned here; null when there is none.
  HKEY Get() const { return key_; }

  // The value called `name`; nothing when it does not exist or cannot be read.
  std::optional<RegistryValue> Read(const wchar_t* name) const;

 private:
  HKEY key_ = nullptr;
};

}  // namespace platform
