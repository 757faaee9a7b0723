// From a result's value to what a client's binding asks for.
#pragma once

#include "lab/oledb/column.h"

namespace lab {

// Whether a binding may ask for `type`.
bool CanBindAs(DBTYPE type);

// Whether values of `from` convert to `to`, as IConvertType::CanConvert tells: S_OK or S_FALSE.
HRESULT CanConvertType(DBTYPE from, DBTYPE to);

// Writes the value, the length and the status that the binding names into the client's row buffer.
// Returns the status. Text that is cut keeps its full length and gives DBSTATUS_S_TRUNCATED; for
// NULL, value and length are left as they were. Throws std::bad_alloc.
DBSTATUS StoreCell(const OdbcCell& cell, const ResultColumn& column, const DBBINDING& binding,
                   BYTE* buffer);

// Writes `status` where the binding wants the status, and nothing else.
void StoreStatus(DBSTATUS status, const DBBINDING& binding, BYTE* buffer);

}  // namespace lab
