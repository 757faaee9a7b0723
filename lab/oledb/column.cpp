#include "lab/oledb/column.h"

#include <algorithm>
#include <cwchar>

#include "lab/common/text.h"
#include "lab/oledb/memory.h"
#include "lab/oledb/statement_text.h"
#include "lab/oledb/summary.h"

namespace lab {
namespace {

constexpr BYTE kNumericPrecision = 38;

DBTYPE NativeType(OdbcKind kind) {
  switch (kind) {
    case OdbcKind::kSmallInteger:
      return DBTYPE_I2;
    case OdbcKind::kInteger:
      return DBTYPE_I4;
    case OdbcKind::kBigInteger:
      return DBTYPE_I8;
    case OdbcKind::kReal:
      return DBTYPE_R8;
    default:
      return DBTYPE_WSTR;
  }
}

std::optional<uint16_t> ConfiguredType(OdbcKind kind, const std::wstring& name, size_t number,
                                       const ProviderOptions& options) {
  for (const std::wstring& key : {FoldAscii(name), std::to_wstring(number)}) {
    const auto found = options.columnTypes.find(key);
    if (found != options.columnTypes.end()) return found->second;
  }
  if (kind == OdbcKind::kText) return options.textType;
  return kind == OdbcKind::kReal ? std::nullopt : options.integerType;
}

DBLENGTH SizeOf(DBTYPE type) {
  switch (type) {
    case DBTYPE_I1:
    case DBTYPE_UI1:
      return 1;
    case DBTYPE_I2:
    case DBTYPE_UI2:
      return 2;
    case DBTYPE_I4:
    case DBTYPE_UI4:
      return 4;
    case DBTYPE_NUMERIC:
      return sizeof(DB_NUMERIC);
    default:
      return 8;
  }
}

BYTE PrecisionOf(DBTYPE type) {
  switch (type) {
    case DBTYPE_I1:
    case DBTYPE_UI1:
      return 3;
    case DBTYPE_I2:
    case DBTYPE_UI2:
      return 5;
    case DBTYPE_I4:
    case DBTYPE_UI4:
      return 10;
    case DBTYPE_I8:
      return 19;
    case DBTYPE_UI8:
      return 20;
    case DBTYPE_R8:
      return 15;
    case DBTYPE_NUMERIC:
      return kNumericPrecision;
    default:
      return 0xFF;
  }
}

// A name as the statement spells it. Databases fold names that are not quoted, and each names an
// expression in its own way.
std::wstring NameOf(const OdbcColumn& column, const std::vector<std::wstring>& spelled,
                    size_t index, const ProviderOptions& options) {
  if (index >= spelled.size()) return column.name;
  if (EqualsFolded(spelled[index], column.name)) return spelled[index];
  return spelled[index].empty() && !options.nameExpressions ? std::wstring() : column.name;
}

DBCOLUMNINFO InfoOf(const ResultColumn& column, size_t index) {
  DBCOLUMNINFO info{};
  info.iOrdinal = index + 1;
  info.dwFlags = (column.nullable ? DBCOLUMNFLAGS_ISNULLABLE | DBCOLUMNFLAGS_MAYBENULL : 0) |
                 (column.IsText() ? 0 : DBCOLUMNFLAGS_ISFIXEDLENGTH);
  info.ulColumnSize = column.size;
  info.wType = column.type;
  info.bPrecision = column.precision;
  info.bScale = column.type == DBTYPE_NUMERIC ? 0 : 0xFF;
  return info;
}

// Writes the names one behind the other into `strings` and points the columns at them.
void PlaceNames(const std::vector<ResultColumn>& columns, DBCOLUMNINFO* info, OLECHAR* strings) {
  for (size_t i = 0; i < columns.size(); ++i) {
    if (columns[i].name.empty()) {
      info[i].columnid.eKind = DBKIND_PROPID;
      info[i].columnid.uName.ulPropid = static_cast<ULONG>(i + 1);
      continue;
    }
    std::wcscpy(strings, columns[i].name.c_str());
    info[i].pwszName = strings;
    info[i].columnid.eKind = DBKIND_NAME;
    info[i].columnid.uName.pwszName = strings;
    strings += columns[i].name.size() + 1;
  }
}

size_t NameCharacters(const std::vector<ResultColumn>& columns) {
  size_t characters = 0;
  for (const ResultColumn& column : columns) {
    if (!column.name.empty()) characters += column.name.size() + 1;
  }
  return characters;
}

DBORDINAL OrdinalOf(const std::vector<ResultColumn>& columns, const DBID& id) {
  if (id.eKind == DBKIND_PROPID) {
    return id.uName.ulPropid <= columns.size() ? id.uName.ulPropid : DB_INVALIDCOLUMN;
  }
  if (id.eKind != DBKIND_NAME || !id.uName.pwszName) return DB_INVALIDCOLUMN;
  const auto found = std::find_if(columns.begin(), columns.end(), [&](const ResultColumn& column) {
    return EqualsFolded(column.name, id.uName.pwszName);
  });
  if (found == columns.end()) return DB_INVALIDCOLUMN;
  return static_cast<DBORDINAL>(found - columns.begin()) + 1;
}

}  // namespace

std::vector<ResultColumn> DescribeColumns(const std::vector<OdbcColumn>& columns,
                                          const std::wstring& statement,
                                          const ProviderOptions& options) {
  const std::vector<std::wstring> spelled = SelectListNames(statement);
  std::vector<ResultColumn> described;
  for (size_t i = 0; i < columns.size(); ++i) {
    ResultColumn column;
    column.name = NameOf(columns[i], spelled, i, options);
    column.type = ConfiguredType(columns[i].kind, column.name, i + 1, options)
                      .value_or(NativeType(columns[i].kind));
    column.size = column.IsText() ? columns[i].size : SizeOf(column.type);
    column.precision = PrecisionOf(column.type);
    column.nullable = columns[i].nullable;
    described.push_back(std::move(column));
  }
  return described;
}

HRESULT CopyColumnInfo(const std::vector<ResultColumn>& columns, DBORDINAL* count,
                       DBCOLUMNINFO** info, OLECHAR** strings) {
  if (!count || !info || !strings) return E_INVALIDARG;
  *count = 0;
  *info = nullptr;
  *strings = nullptr;
  if (columns.empty()) return S_OK;
  *info = AllocateForClient<DBCOLUMNINFO>(columns.size(), "column information");
  const size_t characters = NameCharacters(columns);
  if (characters != 0) *strings = AllocateForClient<OLECHAR>(characters, "column names");
  for (size_t i = 0; i < columns.size(); ++i) (*info)[i] = InfoOf(columns[i], i);
  PlaceNames(columns, *info, *strings);
  *count = columns.size();
  return S_OK;
}

HRESULT MapColumns(const std::vector<ResultColumn>& columns, DBORDINAL count, const DBID* ids,
                   DBORDINAL* ordinals) {
  if (count == 0) return S_OK;
  if (!ids || !ordinals) return E_INVALIDARG;
  size_t missing = 0;
  for (DBORDINAL i = 0; i < count; ++i) {
    ordinals[i] = OrdinalOf(columns, ids[i]);
    if (ordinals[i] == DB_INVALIDCOLUMN) ++missing;
  }
  return Summary(missing, count);
}

}  // namespace lab
