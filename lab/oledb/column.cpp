#include "lab/oledb/column.h"

#include <algorithm>
#include <cstring>
#include <cwchar>

#include "lab/common/text.h"
#include "lab/oledb/provider.h"
#include "lab/oledb/statement_text.h"

namespace lab {
namespace {

struct IntegerType {
  DBTYPE type;
  uint16_t size;
  bool isSigned;
};
constexpr IntegerType kIntegerTypes[] = {
    {DBTYPE_I1, 1, true},   {DBTYPE_I2, 2, true},   {DBTYPE_I4, 4, true},   {DBTYPE_I8, 8, true},
    {DBTYPE_UI1, 1, false}, {DBTYPE_UI2, 2, false}, {DBTYPE_UI4, 4, false}, {DBTYPE_UI8, 8, false},
};

// The integer type, or null for any other.
const IntegerType* FindInteger(DBTYPE type) {
  const auto* found = std::find_if(std::begin(kIntegerTypes), std::end(kIntegerTypes),
                                   [&](const IntegerType& known) { return known.type == type; });
  return found == std::end(kIntegerTypes) ? nullptr : found;
}

DBTYPE TypeOf(const OdbcColumn& column, const std::wstring& name, size_t number) {
  for (const std::wstring& key : {FoldAscii(name), std::to_wstring(number)}) {
    const auto found = Options().columnTypes.find(key);
    if (found != Options().columnTypes.end()) return found->second;
  }
  if (column.integerSize == 0) return Options().textType.value_or(DBTYPE_WSTR);
  const DBTYPE native = column.integerSize == 2   ? DBTYPE_I2
                        : column.integerSize == 4 ? DBTYPE_I4
                                                  : DBTYPE_I8;
  return Options().integerType.value_or(native);
}

// A name as the statement spells it. Databases fold names that are not quoted, and each names an
// expression in its own way.
std::wstring NameOf(const OdbcColumn& column, const std::vector<std::wstring>& spelled,
                    size_t index) {
  if (index >= spelled.size()) return column.name;
  if (EqualsFolded(spelled[index], column.name)) return spelled[index];
  return spelled[index].empty() && !Options().nameExpressions ? std::wstring() : column.name;
}

DBSTATUS StoreInteger(const std::wstring& text, const IntegerType& type, BYTE* value) {
  const bool minus = text.starts_with(L'-');
  const wchar_t* digits = text.c_str() + (minus ? 1 : 0);
  wchar_t* end = nullptr;
  const uint64_t magnitude = std::wcstoull(digits, &end, 10);
  if (*digits < L'0' || *digits > L'9' || *end != L'\0') return DBSTATUS_E_CANTCONVERTVALUE;
  const bool negative = minus && magnitude != 0;
  if (negative && !type.isSigned) return DBSTATUS_E_SIGNMISMATCH;
  const uint64_t bits = ~uint64_t{0} >> (64 - 8 * type.size);
  const uint64_t limit = type.isSigned ? (bits >> 1) + (negative ? 1 : 0) : bits;
  if (magnitude > limit) return DBSTATUS_E_DATAOVERFLOW;
  const uint64_t stored = negative ? 0 - magnitude : magnitude;
  std::memcpy(value, &stored, type.size);
  return DBSTATUS_S_OK;
}

// Copies as many characters as fit in front of a terminating zero.
DBSTATUS StoreText(const std::wstring& text, DBLENGTH capacity, BYTE* value) {
  const size_t room = capacity / sizeof(wchar_t);
  if (room == 0) return DBSTATUS_S_TRUNCATED;
  const size_t copied = std::min(text.size(), room - 1);
  std::memcpy(value, text.c_str(), copied * sizeof(wchar_t));
  reinterpret_cast<wchar_t*>(value)[copied] = L'\0';
  return copied == text.size() ? DBSTATUS_S_OK : DBSTATUS_S_TRUNCATED;
}

}  // namespace

std::vector<ResultColumn> DescribeColumns(const std::vector<OdbcColumn>& columns,
                                          const std::wstring& statement) {
  const std::vector<std::wstring> spelled = SelectListNames(statement);
  std::vector<ResultColumn> described;
  for (size_t i = 0; i < columns.size(); ++i) {
    ResultColumn& column = described.emplace_back();
    column.name = NameOf(columns[i], spelled, i);
    column.type = TypeOf(columns[i], column.name, i + 1);
  }
  return described;
}

void CopyColumnInfo(const std::vector<ResultColumn>& columns, DBCOLUMNINFO** info,
                    OLECHAR** strings) {
  size_t characters = 0;
  for (const ResultColumn& column : columns) characters += column.name.size() + 1;
  *info = AllocateForClient<DBCOLUMNINFO>(columns.size(), "column information");
  *strings = AllocateForClient<OLECHAR>(characters, "column names");
  OLECHAR* name = *strings;
  for (size_t i = 0; i < columns.size(); ++i) {
    const ResultColumn& column = columns[i];
    DBCOLUMNINFO& told = (*info)[i];
    told.iOrdinal = i + 1;
    told.wType = column.type;
    if (!column.name.empty()) told.pwszName = std::wcscpy(name, column.name.c_str());
    name += column.name.size() + 1;
  }
}

bool CanBindAs(DBTYPE type) { return type == DBTYPE_WSTR || FindInteger(type); }

DBSTATUS StoreCell(const OdbcCell& cell, const DBBINDING& binding, BYTE* buffer) {
  DBSTATUS status = DBSTATUS_S_ISNULL;
  if (cell) {
    const IntegerType* integer = FindInteger(binding.wType);
    const DBLENGTH length = integer ? integer->size : cell->size() * sizeof(wchar_t);
    BYTE* value = buffer + binding.obValue;
    status =
        integer ? StoreInteger(*cell, *integer, value) : StoreText(*cell, binding.cbMaxLen, value);
    std::memcpy(buffer + binding.obLength, &length, sizeof(length));
  }
  StoreStatus(status, binding, buffer);
  return status;
}

void StoreStatus(DBSTATUS status, const DBBINDING& binding, BYTE* buffer) {
  std::memcpy(buffer + binding.obStatus, &status, sizeof(status));
}

}  // namespace lab
