// Owners of Windows handles. Each closes what it holds when it goes out of scope; none prints.
#pragma once

#include <windows.h>

#include <utility>

namespace platform {

// Sole owner of a handle that `Close` gives back. A null handle means "none".
template <typename Handle, BOOL(WINAPI* Close)(Handle)>
class UniqueHandle {
 public:
  UniqueHandle() = default;
  explicit UniqueHandle(Handle handle) : handle_(handle) {}
  UniqueHandle(UniqueHandle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    UniqueHandle(std::move(other)).Swap(*this);
    return *this;
  }
  ~UniqueHandle() {
    if (handle_) Close(handle_);
  }

  Handle Get() const { return handle_; }
  explicit operator bool() const { return handle_ != nullptr; }

 private:
  void Swap(UniqueHandle& other) noexcept { std::swap(handle_, other.handle_); }

  Handle handle_ = nullptr;
};

// Threads, events, processes and files.
using KernelHandle = UniqueHandle<HANDLE, &CloseHandle>;

// What CreateFileW returned. Its failure means "none".
inline KernelHandle TakeFileHandle(HANDLE file) {
  return KernelHandle(file == INVALID_HANDLE_VALUE ? nullptr : file);
}

// The service control manager and the services opened through it.
using ServiceHandle = UniqueHandle<SC_HANDLE, &CloseServiceHandle>;

// Modules loaded with LoadLibrary.
using ModuleHandle = UniqueHandle<HMODULE, &FreeLibrary>;

// A nameless manual-reset event.
inline KernelHandle MakeManualResetEvent(bool signalled) {
  return KernelHandle(CreateEventW(nullptr, TRUE, signalled ? TRUE : FALSE, nullptr));
}

}  // namespace platform
