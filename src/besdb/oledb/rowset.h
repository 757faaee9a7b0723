// The rows that a statement returns, read one at a time.
#pragma once

#include <windows.h>
// OLE DB's headers want windows.h first.
#include <oledb.h>
#include <oledberr.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "src/besdb/oledb/data_source.h"
#include "src/platform/com.h"

namespace oledb {

// The result of one statement, with an accessor made from the result's own column names and types.
// Works with any provider: integers of every width, texts as STR, WSTR or BSTR.
class Rowset {
 public:
  // The longest text that comes whole, in characters; a longer one is cut there.
  static constexpr size_t kLongestText = 4095;

  Rowset() = default;
  Rowset(const Rowset&) = delete;
  Rowset& operator=(const Rowset&) = delete;
  ~Rowset();

  // Runs `sql` and prepares for reading. Returns the first failure; E_NOINTERFACE when the
  // statement has no rows to return. To be called once.
  HRESULT Open(const Session& session, const std::wstring& sql);

  // The number of the result's columns, a bookmark not counted.
  size_t ColumnCount() const { return columns_.size(); }

  // Makes the next row current, at first the first one. Returns S_OK, DB_S_ENDOFROWSET when there
  // is none, or a failure.
  HRESULT MoveNext();

  // A value of the current row by the column's name (letter case counts) or by its place from 0.
  // Nothing when there is no such column, when the value is NULL, when the provider could not
  // deliver it, or, for Integer, when it is no whole number of 32 bits (signed or unsigned; the
  // bits count).
  std::optional<std::int32_t> Integer(const wchar_t* column) const;
  std::optional<std::int32_t> Integer(size_t column) const;
  std::optional<std::wstring> Text(const wchar_t* column) const;

 private:
  struct Column {
    std::wstring name;
    DBORDINAL ordinal;
    DBTYPE type;  // in which it is fetched: an integer type, or DBTYPE_WSTR
    // Places in the row buffer.
    size_t status;
    size_t length;
    size_t value;
  };

  HRESULT ReadColumns();
  HRESULT CreateAccessor();
  void ReleaseRow();
  const Column* Find(const wchar_t* name) const;
  bool HasValue(const Column& column) const;
  std::wstring TextOf(const Column& column) const;
  std::optional<std::int64_t> NumberOf(const Column& column) const;
  std::optional<std::int32_t> IntegerOf(const Column& column) const;

  template <typename T>
  T At(size_t offset) const;

  platform::ComPtr<IRowset> rowset_;
  platform::ComPtr<IAccessor> accessors_;
  HACCESSOR accessor_ = DB_NULL_HACCESSOR;
  HROW row_ = DB_NULL_HROW;
  std::vector<Column> columns_;
  std::vector<BYTE> buffer_;
};

}  // namespace oledb
