#include "lab/mapi/table.h"

#include <algorithm>

#include "lab/com/runtime.h"
#include "lab/mapi/buffers.h"
#include "lab/mapi/restriction.h"

namespace lab {
namespace {

constexpr ULONG kSetFlags = TBL_ASYNC | TBL_BATCH;

// Less than, equal to or greater than zero as `left` sorts before, with or behind `right`; both
// have the same type.
int CompareProperties(const Property& left, const Property& right) {
  if (IsText(left.tag)) return left.text.compare(right.text);
  if (PROP_TYPE(left.tag) == PT_BINARY) {
    return left.bytes < right.bytes ? -1 : left.bytes == right.bytes ? 0 : 1;
  }
  const auto a = static_cast<int32_t>(left.number);
  const auto b = static_cast<int32_t>(right.number);
  return a < b ? -1 : a == b ? 0 : 1;
}

}  // namespace

std::string DescribeOrder(const SSortOrderSet* order) {
  if (!order) return "NULL";
  std::string text;
  for (ULONG i = 0; i < order->cSorts; ++i) {
    if (i != 0) text += ',';
    if (order->aSort[i].ulOrder == TABLE_SORT_DESCEND) text += '-';
    text += TagText(order->aSort[i].ulPropTag);
  }
  return text;
}

Table::Table(std::string name, std::vector<ULONG> columns, std::vector<PropertyList> rows)
    : name_(std::move(name)), all_(std::move(rows)), columns_(std::move(columns)) {
  ApplyRestriction(nullptr);
}

void Table::ApplyRestriction(const SRestriction* restriction) {
  shown_.clear();
  cursor_ = 0;
  for (const PropertyList& row : all_) {
    if (Matches(restriction, row)) shown_.push_back(&row);
  }
}

HRESULT Table::ApplyOrder(const SSortOrderSet* order) {
  if (!order) return S_OK;
  if (order->cCategories != 0) return MAPI_E_TOO_COMPLEX;
  // From the least to the most important key, each sort keeping what the one before has done.
  for (ULONG i = order->cSorts; i-- > 0;) {
    const SSortOrder& key = order->aSort[i];
    const bool descending = key.ulOrder == TABLE_SORT_DESCEND;
    std::stable_sort(
        shown_.begin(), shown_.end(), [&](const PropertyList* left, const PropertyList* right) {
          const int relation =
              CompareProperties(Lookup(*left, key.ulPropTag), Lookup(*right, key.ulPropTag));
          return descending ? relation > 0 : relation < 0;
        });
  }
  cursor_ = 0;
  return S_OK;
}

void Table::ApplyColumns(const SPropTagArray* columns) {
  if (!columns) return;
  columns_.assign(columns->aulPropTag, columns->aulPropTag + columns->cValues);
}

void Table::FillRow(const std::string& madeBy, const PropertyList& row, SRow* out) {
  const size_t count = AnsweredCount(name_ + ".ColumnCount", columns_.size());
  out->lpProps = static_cast<LPSPropValue>(
      AllocateBuffer(count * sizeof(SPropValue), madeBy, BufferKind::kRow));
  out->cValues = static_cast<ULONG>(count);
  for (size_t i = 0; i < count; ++i) {
    const ULONG tag = columns_[i];
    const auto planned = Runtime::Get().Planned(name_ + ".Column." + TagText(tag));
    const Property value =
        planned ? ErrorProperty(tag, static_cast<HRESULT>(*planned)) : Lookup(row, tag);
    FillPropValue(value, out->lpProps, &out->lpProps[i]);
  }
}

SRowSet* Table::MakeRowSet(const std::string& madeBy, size_t first, size_t count) {
  auto* rows =
      static_cast<SRowSet*>(AllocateBuffer(CbNewSRowSet(count), madeBy, BufferKind::kRowSet));
  rows->cRows = static_cast<ULONG>(count);
  for (size_t i = 0; i < count; ++i) FillRow(madeBy, *shown_[first + i], &rows->aRow[i]);
  return rows;
}

HRESULT Table::QueryAll(const std::string& madeBy, const RowQuery& query, SRowSet** rows) {
  const std::lock_guard lock(mutex_);
  ApplyColumns(query.columns);
  if (query.restriction) ApplyRestriction(query.restriction);
  const HRESULT result = ApplyOrder(query.order);
  if (FAILED(result)) return result;
  if (query.most > 0 && shown_.size() > static_cast<size_t>(query.most)) {
    return MAPI_E_TABLE_TOO_BIG;
  }
  *rows = MakeRowSet(madeBy, 0, shown_.size());
  cursor_ = shown_.size();
  return S_OK;
}

STDMETHODIMP Table::SetColumns(LPSPropTagArray columns, ULONG flags) {
  Call call("IMAPITable::SetColumns", this);
  call.On(name_).Words("columns", DescribeTags(columns)).Flags(flags, kSetFlags);
  call.Require(columns, "no columns");
  return call.Run([&] {
    const std::lock_guard lock(mutex_);
    ApplyColumns(columns);
    return S_OK;
  });
}

STDMETHODIMP Table::QueryColumns(ULONG flags, LPSPropTagArray* columns) {
  Call call("IMAPITable::QueryColumns", this);
  call.On(name_).Flags(flags, TBL_ALL_COLUMNS).Out(columns);
  return call.Run([&] {
    const std::lock_guard lock(mutex_);
    const size_t count = columns_.size();
    auto* tags =
        static_cast<LPSPropTagArray>(AllocateBuffer(CbNewSPropTagArray(count), call.Name()));
    tags->cValues = static_cast<ULONG>(count);
    std::copy(columns_.begin(), columns_.end(), tags->aulPropTag);
    *columns = tags;
    return S_OK;
  });
}

STDMETHODIMP Table::GetRowCount(ULONG flags, ULONG* count) {
  Call call("IMAPITable::GetRowCount", this);
  call.On(name_).Flags(flags, TBL_NOWAIT).Out(count);
  return call.Run([&] {
    const std::lock_guard lock(mutex_);
    *count = static_cast<ULONG>(shown_.size());
    return S_OK;
  });
}

STDMETHODIMP Table::SeekRow(BOOKMARK origin, LONG rows, LONG* sought) {
  Call call("IMAPITable::SeekRow", this);
  call.On(name_).Hex("origin", origin).Count("rows", rows);
  call.Require(origin <= BOOKMARK_END, "a bookmark that is none of the three fixed ones");
  return call.Run([&] {
    const std::lock_guard lock(mutex_);
    const auto size = static_cast<LONG>(shown_.size());
    const LONG from = origin == BOOKMARK_BEGINNING ? 0
                      : origin == BOOKMARK_END     ? size
                                                   : static_cast<LONG>(cursor_);
    const LONG to = std::clamp<LONG>(from + rows, 0, size);
    cursor_ = static_cast<size_t>(to);
    if (sought) *sought = to - from;
    return S_OK;
  });
}

STDMETHODIMP Table::Restrict(LPSRestriction restriction, ULONG flags) {
  Call call("IMAPITable::Restrict", this);
  call.On(name_).Words("restriction", DescribeRestriction(restriction)).Flags(flags, kSetFlags);
  call.Require(IsKnown(restriction), kUnknownRestriction, MAPI_E_TOO_COMPLEX);
  return call.Run([&] {
    const std::lock_guard lock(mutex_);
    ApplyRestriction(restriction);
    return S_OK;
  });
}

STDMETHODIMP Table::SortTable(LPSSortOrderSet order, ULONG flags) {
  Call call("IMAPITable::SortTable", this);
  call.On(name_).Words("order", DescribeOrder(order)).Flags(flags, kSetFlags);
  call.Require(order, "no sort order");
  return call.Run([&] {
    const std::lock_guard lock(mutex_);
    return ApplyOrder(order);
  });
}

STDMETHODIMP Table::QueryRows(LONG count, ULONG flags, LPSRowSet* rows) {
  Call call("IMAPITable::QueryRows", this);
  call.On(name_).Count("count", count).Flags(flags, TBL_NOADVANCE).Out(rows);
  call.Require(count != 0, "a count of 0 rows");
  return call.Run([&] {
    const std::lock_guard lock(mutex_);
    // A negative count reads backwards: the rows that lie before the cursor, in table order.
    const size_t room = count > 0 ? shown_.size() - cursor_ : cursor_;
    const auto wanted = static_cast<size_t>(count > 0 ? count : -static_cast<int64_t>(count));
    const size_t taken = std::min(room, wanted);
    const size_t first = count > 0 ? cursor_ : cursor_ - taken;
    *rows = MakeRowSet(call.Name(), first, taken);
    if (!(flags & TBL_NOADVANCE)) cursor_ = count > 0 ? first + taken : first;
    call.Hex("rows", taken);
    return S_OK;
  });
}

bool FreeRowSet(SRowSet* rows) {
  if (!IsRowSet(rows)) return false;
  for (ULONG i = 0; i < rows->cRows; ++i) {
    if (rows->aRow[i].lpProps && !FreeBuffer(rows->aRow[i].lpProps)) return false;
  }
  return FreeBuffer(rows);
}

}  // namespace lab
