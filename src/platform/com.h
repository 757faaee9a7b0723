// COM as scopes.
#pragma once

#include <windows.h>
// The COM headers want windows.h first.
#include <objbase.h>
#include <wrl/client.h>

namespace platform {

using Microsoft::WRL::ComPtr;

// COM on the calling thread, for as long as it lives. Interfaces must be released before it ends.
class ComApartment {
 public:
  ComApartment() : status_(CoInitialize(nullptr)) {}
  ~ComApartment() {
    if (SUCCEEDED(status_)) CoUninitialize();
  }
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;

  // What CoInitialize returned. On failure nothing is undone at the end.
  HRESULT Status() const { return status_; }

 private:
  const HRESULT status_;
};

// Owner of memory from the COM task allocator. A callee fills it through Put().
template <typename T>
class CoTaskMemory {
 public:
  CoTaskMemory() = default;
  CoTaskMemory(const CoTaskMemory&) = delete;
  CoTaskMemory& operator=(const CoTaskMemory&) = delete;
  ~CoTaskMemory() { CoTaskMemFree(memory_); }

  T* Get() const { return memory_; }
  // Only for an owner that holds none yet.
  T** Put() { return &memory_; }

 private:
  T* memory_ = nullptr;
};

}  // namespace platform
