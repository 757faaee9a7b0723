// A result with any columns, values, lengths and states, read by place and by name.
#include "src/besdb/oledb/rowset.h"

#include <deque>

#include "tests/fuzz/fuzz.h"

namespace {

struct Cell {
  DBSTATUS status;
  DBLENGTH length;  // In bytes, of the whole value; a provider may be wrong about it.
  std::vector<uint8_t> bytes;
};

// One object with all of a result's interfaces.
class Result : public IRowset, public IAccessor, public IColumnsInfo, public ICommandText {
 public:
  explicit Result(fuzz::Input& input) {
    hasBookmark = input.Byte() & 1;
    failAt = input.Byte();
    columns.resize(input.Below(5));
    for (DBTYPE& type : columns) {
      constexpr DBTYPE kTypes[] = {DBTYPE_I1, DBTYPE_UI1, DBTYPE_I2,  DBTYPE_UI2,
                                   DBTYPE_I4, DBTYPE_UI4, DBTYPE_I8,  DBTYPE_UI8,
                                   DBTYPE_R8, DBTYPE_STR, DBTYPE_WSTR};
      type = kTypes[input.Below(std::size(kTypes))];
    }
    while (!input.IsEmpty() && rows.size() < 8) {
      std::vector<Cell>& row = rows.emplace_back();
      for (size_t i = 0; i < columns.size(); ++i) row.push_back(AnyCell(input));
    }
  }

  HRESULT QueryInterface(REFIID id, void** object) override {
    if (Fails()) return E_NOINTERFACE;
    if (id == IID::kRowset) *object = static_cast<IRowset*>(this);
    if (id == IID::kAccessor) *object = static_cast<IAccessor*>(this);
    if (id == IID::kColumnsInfo) *object = static_cast<IColumnsInfo*>(this);
    AddRef();
    return S_OK;
  }
  ULONG AddRef() override { return ++references; }
  ULONG Release() override { return --references; }

  HRESULT Execute(void*, REFIID, void*, void*, IUnknown** rowset) override {
    if (Fails()) return E_FAIL;
    *rowset = static_cast<IRowset*>(this);
    AddRef();
    return S_OK;
  }

  HRESULT GetColumnInfo(DBORDINAL* count, DBCOLUMNINFO** infos, OLECHAR** names) override {
    if (Fails()) return E_FAIL;
    const size_t first = hasBookmark ? 0 : 1;
    *count = columns.size() + 1 - first;
    *infos = static_cast<DBCOLUMNINFO*>(std::calloc(*count + 1, sizeof(DBCOLUMNINFO)));
    *names = static_cast<OLECHAR*>(std::calloc(16, sizeof(OLECHAR)));
    for (size_t i = first; i <= columns.size(); ++i) {
      // The last one has no name.
      OLECHAR* const name = *names + 2 * i;
      *name = static_cast<OLECHAR>(L'A' + i);
      (*infos)[i - first] = {i == columns.size() ? nullptr : name, i,
                             i ? columns[i - 1] : DBTYPE{DBTYPE_I4}};
    }
    return S_OK;
  }

  HRESULT CreateAccessor(DWORD, DBCOUNTITEM count, const DBBINDING* given, size_t,
                         HACCESSOR* accessor, void*) override {
    if (Fails()) return E_FAIL;
    bindings.assign(given, given + count);
    *accessor = 1;
    ++accessors;
    return S_OK;
  }
  HRESULT ReleaseAccessor(HACCESSOR, ULONG*) override {
    --accessors;
    return S_OK;
  }

  HRESULT GetNextRows(HCHAPTER, int64_t, int64_t, DBCOUNTITEM* obtained, HROW** handles) override {
    if (Fails()) return E_FAIL;
    *obtained = next < rows.size() ? 1 : 0;
    if (*obtained) **handles = ++next;
    heldRows += static_cast<int>(*obtained);
    return *obtained ? S_OK : DB_S_ENDOFROWSET;
  }
  HRESULT ReleaseRows(DBCOUNTITEM, const HROW*, void*, void*, void*) override {
    --heldRows;
    return S_OK;
  }

  // Writes what a provider writes: no more of a value than the binding has room for.
  HRESULT GetData(HROW row, HACCESSOR, void* data) override {
    if (Fails()) return E_FAIL;
    for (const DBBINDING& binding : bindings) {
      const Cell& cell = rows[row - 1][binding.iOrdinal - 1];
      auto* const target = static_cast<uint8_t*>(data);
      std::memcpy(target + binding.obStatus, &cell.status, sizeof(cell.status));
      std::memcpy(target + binding.obLength, &cell.length, sizeof(cell.length));
      const size_t room = binding.wType == DBTYPE_WSTR ? binding.cbMaxLen - 2 : binding.cbMaxLen;
      std::memset(target + binding.obValue, 0, binding.cbMaxLen);
      std::copy_n(cell.bytes.begin(), std::min(room, cell.bytes.size()), target + binding.obValue);
    }
    return DB_E_ERRORSOCCURRED;
  }

  std::vector<DBTYPE> columns;
  std::vector<std::vector<Cell>> rows;
  std::vector<DBBINDING> bindings;
  bool hasBookmark;
  uint8_t failAt;
  size_t next = 0;
  int references = 0;
  int accessors = 0;
  int heldRows = 0;

 private:
  static Cell AnyCell(fuzz::Input& input) {
    constexpr DBSTATUS kStates[] = {DBSTATUS_S_OK, DBSTATUS_S_OK, DBSTATUS_S_TRUNCATED,
                                    DBSTATUS_S_ISNULL, DBSTATUS_E_CANTCONVERTVALUE};
    Cell cell = {kStates[input.Below(5)], 0, {}};
    const uint8_t kind = input.Byte();
    cell.bytes = input.Bytes(kind & 0x3F);
    // Around the longest text, and far beyond it.
    if (kind & 0x40) cell.bytes.resize(2 * (4090 + input.Below(10)), 'x');
    cell.length = kind & 0x80 ? input.Number() : cell.bytes.size();
    return cell;
  }

  bool Fails() { return failAt && --failAt == 0; }
};

// One for each input, as a provider's object outlives its users.
Result* current = nullptr;

// The number that a cell of that type holds; nothing for a text's.
std::optional<__int128> WholeNumber(DBTYPE type, const Cell& cell) {
  std::vector<uint8_t> bytes = cell.bytes;
  bytes.resize(8);
  const auto read = [&](auto value) {
    std::memcpy(&value, bytes.data(), sizeof(value));
    return static_cast<__int128>(value);
  };
  switch (type) {
    case DBTYPE_I1:
      return read(int8_t{});
    case DBTYPE_UI1:
      return read(uint8_t{});
    case DBTYPE_I2:
      return read(int16_t{});
    case DBTYPE_UI2:
      return read(uint16_t{});
    case DBTYPE_I4:
      return read(int32_t{});
    case DBTYPE_UI4:
      return read(uint32_t{});
    case DBTYPE_I8:
      return read(int64_t{});
    case DBTYPE_UI8:
      return read(uint64_t{});
    default:
      return std::nullopt;
  }
}

void ReadRow(const oledb::Rowset& rowset, const std::vector<Cell>& row) {
  for (size_t i = 0; i < row.size(); ++i) {
    const wchar_t name[] = {static_cast<wchar_t>(L'A' + i + 1), L'\0'};
    const bool isNameless = i + 1 == row.size();
    const auto number = rowset.Integer(i);
    const auto text = rowset.Text(isNameless ? L"" : name);
    CLAIM(rowset.Integer(isNameless ? L"" : name) == number);
    const bool hasValue = row[i].status == DBSTATUS_S_OK || row[i].status == DBSTATUS_S_TRUNCATED;
    CLAIM(text.has_value() == hasValue);
    if (!hasValue) CLAIM(!number);
    if (text) CLAIM(text->size() <= oledb::Rowset::kLongestText);
    const auto whole = WholeNumber(current->columns[i], row[i]);
    if (hasValue && whole) {
      const bool fits = *whole >= INT32_MIN && *whole <= UINT32_MAX;
      CLAIM(number.has_value() == fits);
      if (fits) CLAIM(*number == static_cast<int32_t>(static_cast<uint32_t>(*whole)));
    } else if (hasValue) {
      CLAIM(text->size() == std::min<size_t>(row[i].length / 2, oledb::Rowset::kLongestText));
    }
  }
  CLAIM(!rowset.Integer(row.size()) && !rowset.Integer(L"none") && !rowset.Text(L"none"));
}

}  // namespace

HRESULT oledb::Session::CreateCommand(const std::wstring&,
                                      platform::ComPtr<ICommandText>& command) const {
  ICommandText** const place = &command;
  *place = current;
  current->AddRef();
  return S_OK;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  Result result(input);
  current = &result;
  {
    const oledb::Session session;
    oledb::Rowset rowset;
    if (rowset.Open(session, L"SELECT") == S_OK) {
      CLAIM(rowset.ColumnCount() == result.columns.size());
      for (size_t i = 0; rowset.MoveNext() == S_OK; ++i) ReadRow(rowset, result.rows[i]);
    }
  }
  CLAIM(result.references == 0 && result.accessors == 0 && result.heldRows == 0);
  return 0;
}
