#pragma once

#include <windows.h>

#include <memory>

namespace e2e {

struct HandleCloser {
  using pointer = HANDLE;
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};

// Owns a kernel object's handle. Empty is null, never INVALID_HANDLE_VALUE.
using Handle = std::unique_ptr<HANDLE, HandleCloser>;

inline Handle TakeFileHandle(HANDLE handle) {
  return Handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

}  // namespace e2e
