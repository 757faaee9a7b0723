// The columns of a result as the provider shows them.
#pragma once

#include <windows.h>
// After windows.h.
#include <oledb.h>

#include <string>
#include <vector>

#include "lab/bes/odbc_connection.h"
#include "lab/oledb/provider_options.h"

namespace lab {

struct ResultColumn {
  std::wstring name;  // empty for a nameless column
  DBTYPE type = DBTYPE_WSTR;
  DBLENGTH size = 0;  // characters of text, bytes of anything else
  BYTE precision = 0;
  bool nullable = true;

  bool IsText() const { return type == DBTYPE_WSTR || type == DBTYPE_STR || type == DBTYPE_BSTR; }
};

// The columns of what `statement` returned, under the names that the statement spells and with
// the types that the options ask for.
std::vector<ResultColumn> DescribeColumns(const std::vector<OdbcColumn>& columns,
                                          const std::wstring& statement,
                                          const ProviderOptions& options);

// What IColumnsInfo::GetColumnInfo answers, in memory that the client frees.
HRESULT CopyColumnInfo(const std::vector<ResultColumn>& columns, DBORDINAL* count,
                       DBCOLUMNINFO** info, OLECHAR** strings);

// What IColumnsInfo::MapColumnIDs answers.
HRESULT MapColumns(const std::vector<ResultColumn>& columns, DBORDINAL count, const DBID* ids,
                   DBORDINAL* ordinals);

}  // namespace lab
