// Memory that the client frees, counted until it does.
#pragma once

#include <windows.h>
// After windows.h.
#include <objbase.h>
#include <oleauto.h>

#include <cstring>
#include <new>
#include <string>
#include <string_view>

#include "lab/oledb/runtime.h"

namespace lab {

// `count` objects of zero bytes. Throws std::bad_alloc. `what` is what a leak of them is called.
template <class T>
T* AllocateForClient(size_t count, const char* what) {
  void* block = CoTaskMemAlloc(count * sizeof(T));
  if (!block) throw std::bad_alloc();
  std::memset(block, 0, count * sizeof(T));
  TheRuntime().accounting.AddMemory(block, what);
  return static_cast<T*>(block);
}

inline BSTR BstrForClient(std::wstring_view text, const char* what) {
  BSTR bstr = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
  if (!bstr) throw std::bad_alloc();
  TheRuntime().accounting.AddMemory(bstr, what);
  return bstr;
}

}  // namespace lab
