// What a provider answers for an error of the database.
#pragma once

#include <windows.h>

#include "lab/bes/odbc_connection.h"

namespace lab {

// For a statement that failed.
HRESULT StatementResult(const OdbcError& error);
// For a connection that could not be made.
HRESULT ConnectResult(const OdbcError& error);
// Whether the statement's text is at fault, so that a server would refuse a whole batch for it.
bool IsSyntaxError(const OdbcError& error);

}  // namespace lab
