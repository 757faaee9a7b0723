#include "src/besdb/oledb/rowset.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <limits>
#include <utility>

namespace oledb {

namespace {

// The size in bytes of a whole-number type, 0 for every other type.
size_t IntegerSize(DBTYPE type) {
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
    case DBTYPE_I8:
    case DBTYPE_UI8:
      return 8;
    default:
      return 0;
  }
}

size_t ValueSize(DBTYPE type) {
  return type == DBTYPE_WSTR ? (Rowset::kLongestText + 1) * sizeof(wchar_t) : IntegerSize(type);
}

constexpr std::uint64_t kLargestSigned = std::numeric_limits<std::int64_t>::max();

// Keeps every part of the row buffer aligned for any type.
size_t Aligned(size_t size) { return (size + 7) & ~size_t{7}; }

}  // namespace

Rowset::~Rowset() {
  ReleaseRow();
  if (accessor_ != DB_NULL_HACCESSOR) accessors_->ReleaseAccessor(accessor_, nullptr);
}

HRESULT Rowset::Open(const Session& session, const std::wstring& sql) {
  platform::ComPtr<ICommandText> command;
  HRESULT hr = session.CreateCommand(sql, command);
  if (FAILED(hr)) return hr;
  platform::ComPtr<IUnknown> opened;
  hr = command->Execute(nullptr, IID_IRowset, nullptr, nullptr, &opened);
  if (FAILED(hr)) return hr;
  // A statement without a result succeeds without a rowset.
  if (!opened) return E_NOINTERFACE;
  hr = opened->QueryInterface(IID_IRowset, &rowset_);
  if (SUCCEEDED(hr)) hr = ReadColumns();
  if (SUCCEEDED(hr)) hr = CreateAccessor();
  return hr;
}

HRESULT Rowset::ReadColumns() {
  platform::ComPtr<IColumnsInfo> columnsInfo;
  HRESULT hr = rowset_->QueryInterface(IID_IColumnsInfo, &columnsInfo);
  if (FAILED(hr)) return hr;
  DBORDINAL count = 0;
  platform::CoTaskMemory<DBCOLUMNINFO> infos;
  platform::CoTaskMemory<OLECHAR> names;
  hr = columnsInfo->GetColumnInfo(&count, infos.Put(), names.Put());
  if (FAILED(hr)) return hr;

  size_t offset = 0;
  for (DBORDINAL i = 0; i < count; ++i) {
    const DBCOLUMNINFO& info = infos.Get()[i];
    if (info.iOrdinal == 0) continue;  // The bookmark.
    Column column = {};
    column.name = info.pwszName ? info.pwszName : L"";
    column.ordinal = info.iOrdinal;
    // Whole numbers as they come; everything else as text, which every provider can convert to.
    column.type = IntegerSize(info.wType) ? info.wType : static_cast<DBTYPE>(DBTYPE_WSTR);
    column.status = offset;
    column.length = column.status + Aligned(sizeof(DBSTATUS));
    column.value = column.length + Aligned(sizeof(DBLENGTH));
    offset = column.value + Aligned(ValueSize(column.type));
    columns_.push_back(std::move(column));
  }
  buffer_.resize(offset);
  return S_OK;
}

HRESULT Rowset::CreateAccessor() {
  std::vector<DBBINDING> bindings;
  for (const Column& column : columns_) {
    DBBINDING binding = {};
    binding.iOrdinal = column.ordinal;
    binding.obStatus = column.status;
    binding.obLength = column.length;
    binding.obValue = column.value;
    binding.dwPart = DBPART_STATUS | DBPART_LENGTH | DBPART_VALUE;
    binding.dwMemOwner = DBMEMOWNER_CLIENTOWNED;
    binding.eParamIO = DBPARAMIO_NOTPARAM;
    binding.cbMaxLen = ValueSize(column.type);
    binding.wType = column.type;
    bindings.push_back(binding);
  }
  const HRESULT hr = rowset_->QueryInterface(IID_IAccessor, &accessors_);
  if (FAILED(hr)) return hr;
  return accessors_->CreateAccessor(DBACCESSOR_ROWDATA, bindings.size(), bindings.data(), 0,
                                    &accessor_, nullptr);
}

HRESULT Rowset::MoveNext() {
  ReleaseRow();
  DBCOUNTITEM obtained = 0;
  HROW* rows = &row_;
  const HRESULT hr = rowset_->GetNextRows(DB_NULL_HCHAPTER, 0, 1, &obtained, &rows);
  if (FAILED(hr)) return hr;
  if (obtained == 0) return DB_S_ENDOFROWSET;
  const HRESULT fetched = rowset_->GetData(row_, accessor_, buffer_.data());
  // That single values could not be delivered is said in their status.
  return FAILED(fetched) && fetched != DB_E_ERRORSOCCURRED ? fetched : S_OK;
}

void Rowset::ReleaseRow() {
  if (row_ == DB_NULL_HROW) return;
  rowset_->ReleaseRows(1, &row_, nullptr, nullptr, nullptr);
  row_ = DB_NULL_HROW;
}

template <typename T>
T Rowset::At(size_t offset) const {
  T value;
  std::memcpy(&value, buffer_.data() + offset, sizeof(value));
  return value;
}

const Rowset::Column* Rowset::Find(const wchar_t* name) const {
  for (const Column& column : columns_) {
    if (column.name == name) return &column;
  }
  return nullptr;
}

bool Rowset::HasValue(const Column& column) const {
  const auto status = At<DBSTATUS>(column.status);
  return status == DBSTATUS_S_OK || status == DBSTATUS_S_TRUNCATED;
}

std::wstring Rowset::TextOf(const Column& column) const {
  // The length is the whole text's, in bytes, even when the value was cut.
  const size_t whole = At<DBLENGTH>(column.length) / sizeof(wchar_t);
  std::wstring text(whole < kLongestText ? whole : kLongestText, L'\0');
  std::memcpy(text.data(), buffer_.data() + column.value, text.size() * sizeof(wchar_t));
  return text;
}

std::optional<std::int64_t> Rowset::NumberOf(const Column& column) const {
  switch (column.type) {
    case DBTYPE_I1:
      return At<std::int8_t>(column.value);
    case DBTYPE_UI1:
      return At<std::uint8_t>(column.value);
    case DBTYPE_I2:
      return At<std::int16_t>(column.value);
    case DBTYPE_UI2:
      return At<std::uint16_t>(column.value);
    case DBTYPE_I4:
      return At<std::int32_t>(column.value);
    case DBTYPE_UI4:
      return At<std::uint32_t>(column.value);
    case DBTYPE_I8:
      return At<std::int64_t>(column.value);
    case DBTYPE_UI8:  // The largest of 64 bits stands for all beyond it: too large either way.
      return static_cast<std::int64_t>(std::min(At<std::uint64_t>(column.value), kLargestSigned));
    default: {
      const std::wstring text = TextOf(column);
      wchar_t* end = nullptr;
      const std::int64_t number = std::wcstoll(text.c_str(), &end, 10);
      const bool whole = end != text.c_str() && *end == L'\0';
      return whole ? std::optional<std::int64_t>(number) : std::nullopt;
    }
  }
}

std::optional<std::int32_t> Rowset::IntegerOf(const Column& column) const {
  if (!HasValue(column)) return std::nullopt;
  const std::optional<std::int64_t> number = NumberOf(column);
  if (!number || *number < std::numeric_limits<std::int32_t>::min() ||
      *number > std::numeric_limits<std::uint32_t>::max()) {
    return std::nullopt;
  }
  return static_cast<std::int32_t>(*number);
}

std::optional<std::int32_t> Rowset::Integer(const wchar_t* column) const {
  const Column* const found = Find(column);
  return found ? IntegerOf(*found) : std::nullopt;
}

std::optional<std::int32_t> Rowset::Integer(size_t column) const {
  return column < columns_.size() ? IntegerOf(columns_[column]) : std::nullopt;
}

std::optional<std::wstring> Rowset::Text(const wchar_t* column) const {
  const Column* const found = Find(column);
  if (!found || !HasValue(*found)) return std::nullopt;
  if (found->type == DBTYPE_WSTR) return TextOf(*found);
  if (found->type == DBTYPE_UI8) return std::to_wstring(At<std::uint64_t>(found->value));
  return std::to_wstring(*NumberOf(*found));
}

}  // namespace oledb
