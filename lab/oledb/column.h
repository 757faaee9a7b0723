// The columns of a result as the provider shows them, and their values as bindings ask for them.
#pragma once

#include <windows.h>
// After windows.h.
#include <oledb.h>

#include <string>
#include <vector>

#include "lab/bes/odbc_connection.h"

namespace lab {

struct ResultColumn {
  std::wstring name;  // empty for a nameless column
  DBTYPE type = DBTYPE_WSTR;
};

// The columns of what `statement` returned, under the names that the statement spells and with
// the types that the options ask for.
std::vector<ResultColumn> DescribeColumns(const std::vector<OdbcColumn>& columns,
                                          const std::wstring& statement);

// What IColumnsInfo::GetColumnInfo answers, in memory that the client frees: names and
// types; programs ask for nothing else.
void CopyColumnInfo(const std::vector<ResultColumn>& columns, DBCOLUMNINFO** info,
                    OLECHAR** strings);

// Whether a binding may ask for `type`: integers and wide text, in the client's own memory.
bool CanBindAs(DBTYPE type);

// Writes value, length and status into the client's row buffer, and returns the status. Text that
// is cut keeps its full length and gives DBSTATUS_S_TRUNCATED; for NULL, value and length are left
// as they were.
DBSTATUS StoreCell(const OdbcCell& cell, const DBBINDING& binding, BYTE* buffer);

// Writes `status` and nothing else.
void StoreStatus(DBSTATUS status, const DBBINDING& binding, BYTE* buffer);

}  // namespace lab
