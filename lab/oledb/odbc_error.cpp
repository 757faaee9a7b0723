#include "lab/oledb/odbc_error.h"

// After windows.h.
#include <oledb.h>
#include <oledberr.h>

#include <string_view>

namespace lab {
namespace {

bool Says(const OdbcError& error, std::string_view words) {
  return std::string_view(error.what()).find(words) != std::string_view::npos;
}

}  // namespace

HRESULT StatementResult(const OdbcError& error) {
  const std::string& state = error.State();
  if (state == "42S02" || state == "42P01" || Says(error, "no such table")) return DB_E_NOTABLE;
  if (state.starts_with("23") || Says(error, "constraint failed")) return DB_E_INTEGRITYVIOLATION;
  if (state.starts_with("08") || state.starts_with("57P")) return E_FAIL;
  return DB_E_ERRORSINCOMMAND;
}

HRESULT ConnectResult(const OdbcError& error) {
  return error.State().starts_with("28") ? DB_SEC_E_AUTH_FAILED : E_FAIL;
}

bool IsSyntaxError(const OdbcError& error) {
  return error.State() == "42601" || Says(error, "syntax error") ||
         Says(error, "unrecognized token") || Says(error, "incomplete input");
}

}  // namespace lab
