// COM as far as a row set needs it.
#pragma once

#include <cstdlib>

enum class IID { kUnknown, kRowset, kAccessor, kColumnsInfo, kOther };
using REFIID = IID;

struct IUnknown {
  virtual HRESULT QueryInterface(REFIID id, void** object) = 0;
  virtual ULONG AddRef() = 0;
  virtual ULONG Release() = 0;

 protected:
  ~IUnknown() = default;
};

inline HRESULT CoInitialize(void*) { return S_OK; }
inline void CoUninitialize() {}
inline void CoTaskMemFree(void* memory) { std::free(memory); }
