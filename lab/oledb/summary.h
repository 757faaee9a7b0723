// The answer of a method that does several things, of which some may fail.
#pragma once

#include <windows.h>
// After windows.h.
#include <oledb.h>
#include <oledberr.h>

#include <cstddef>

namespace lab {

// S_OK, DB_S_ERRORSOCCURRED when some of `total` have failed, DB_E_ERRORSOCCURRED when all have.
inline HRESULT Summary(size_t failures, size_t total) {
  if (failures == 0) return S_OK;
  return failures == total ? DB_E_ERRORSOCCURRED : DB_S_ERRORSOCCURRED;
}

}  // namespace lab
