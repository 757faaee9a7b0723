// What the provider's objects share: their interfaces, the options, memory that clients free.
#pragma once

#include <windows.h>
// After windows.h.
#include <objbase.h>
#include <oledb.h>
#include <oledberr.h>

#include <cstddef>
#include <cstring>
#include <new>
#include <string>

#include "lab/com/object.h"
#include "lab/com/runtime.h"
#include "lab/oledb/provider_options.h"

namespace lab {

#define LAB_OLEDB_INTERFACE(name)   \
  template <>                       \
  inline const IID& IidOf<name>() { \
    return IID_##name;              \
  }
LAB_OLEDB_INTERFACE(IDBInitialize)
LAB_OLEDB_INTERFACE(IDBProperties)
LAB_OLEDB_INTERFACE(IDBCreateSession)
LAB_OLEDB_INTERFACE(IOpenRowset)
LAB_OLEDB_INTERFACE(IDBCreateCommand)
LAB_OLEDB_INTERFACE(ICommandText)
LAB_OLEDB_INTERFACE(IRowset)
LAB_OLEDB_INTERFACE(IAccessor)
LAB_OLEDB_INTERFACE(IColumnsInfo)
#undef LAB_OLEDB_INTERFACE

// What the process is configured for; read once.
const ProviderOptions& Options();

// Has what is left journalled as leaks when the calling thread's last CoUninitialize begins, and
// takes from the account what clients free. May be called any number of times.
void WatchClient();

// `count` objects of zero bytes. Throws std::bad_alloc. `what` is what a leak of them is called.
template <class T>
T* AllocateForClient(size_t count, const char* what) {
  void* block = CoTaskMemAlloc(count * sizeof(T));
  if (!block) throw std::bad_alloc();
  std::memset(block, 0, count * sizeof(T));
  Runtime::Get().Held().AddMemory(block, what);
  return static_cast<T*>(block);
}

// "{0C733A8B-2A1C-11CE-ADE5-00AA0044773D}".
std::string GuidText(const GUID& guid);

// The answer of a method that does several things: S_OK, DB_S_ERRORSOCCURRED when some of `total`
// have failed, DB_E_ERRORSOCCURRED when all have.
inline HRESULT Summary(size_t failures, size_t total) {
  if (failures == 0) return S_OK;
  return failures == total ? DB_E_ERRORSOCCURRED : DB_S_ERRORSOCCURRED;
}

}  // namespace lab
