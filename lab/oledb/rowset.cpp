#include "lab/oledb/rowset.h"

#include <oledberr.h>

#include <algorithm>

#include "lab/common/text.h"
#include "lab/oledb/call.h"
#include "lab/oledb/conversion.h"
#include "lab/oledb/memory.h"
#include "lab/oledb/summary.h"

namespace lab {
namespace {

// The status that the fault plan wants a value of `column` to have instead of its own.
bool PlannedStatus(const ResultColumn& column, DBORDINAL ordinal, DBSTATUS* status) {
  const std::string name =
      column.name.empty() ? std::to_string(ordinal) : Utf8FromWide(column.name);
  uint32_t planned = 0;
  if (PlanWants("value-null:" + name)) {
    planned = DBSTATUS_S_ISNULL;
  } else if (!PlanWants("value-status:" + name, &planned)) {
    return false;
  }
  *status = planned;
  return true;
}

bool IsFailure(DBSTATUS status) {
  return status != DBSTATUS_S_OK && status != DBSTATUS_S_ISNULL && status != DBSTATUS_S_TRUNCATED;
}

}  // namespace

Rowset::Rowset(Ref<Command> command, std::vector<ResultColumn> columns, std::vector<OdbcRow> rows,
               bool holdRows)
    : AccessorObject("rowset", command->Accessors()),
      command_(std::move(command)),
      columns_(std::move(columns)),
      rows_(std::move(rows)),
      holdRows_(holdRows) {}

Rowset::~Rowset() {
  for (const auto& [handle, row] : held_) {
    TheRuntime().accounting.Lose(static_cast<uint32_t>(handle));
  }
}

bool Rowset::Serves(REFIID iid) {
  const IID kServed[] = {IID_IUnknown,     IID_IRowset,     IID_IAccessor,
                         IID_IColumnsInfo, IID_IRowsetInfo, IID_IConvertType};
  return std::find(std::begin(kServed), std::end(kServed), iid) != std::end(kServed);
}

void* Rowset::FindInterface(REFIID iid) {
  if (iid == IID_IUnknown || iid == IID_IRowset) return static_cast<IRowset*>(this);
  if (iid == IID_IAccessor) return static_cast<IAccessor*>(this);
  if (iid == IID_IColumnsInfo) return static_cast<IColumnsInfo*>(this);
  if (iid == IID_IRowsetInfo) return static_cast<IRowsetInfo*>(this);
  if (iid == IID_IConvertType) return static_cast<IConvertType*>(this);
  return nullptr;
}

HRESULT Rowset::GetNextRows(HCHAPTER, DBROWOFFSET offset, DBROWCOUNT wanted, DBCOUNTITEM* obtained,
                            HROW** rows) {
  Call call("IRowset::GetNextRows", Number(), Call::Kind::kRow);
  call.With("offset", static_cast<uint64_t>(offset)).With("wanted", static_cast<uint64_t>(wanted));
  // The client may have put an array of its own there.
  if (call.Fails()) return rows && *rows ? call.Fail(obtained) : call.Fail(obtained, rows);
  if (!obtained || !rows) return call.Return(E_INVALIDARG);
  *obtained = 0;
  uint32_t planned = 0;
  const bool first = !std::exchange(fetched_, true);
  if (PlanWants(first ? "first-row" : "next-row", &planned)) {
    return call.Return(static_cast<HRESULT>(planned));
  }
  const HRESULT hr = Guarded([&] { return Fetch(offset, wanted, obtained, rows); });
  return call.With("obtained", *obtained).Return(hr);
}

HRESULT Rowset::CheckFetch(DBROWOFFSET offset, DBROWCOUNT wanted) const {
  if (offset < 0) return DB_E_CANTSCROLLBACKWARDS;
  if (wanted < 0) return DB_E_CANTFETCHBACKWARDS;
  return !holdRows_ && !held_.empty() ? DB_E_ROWSNOTRELEASED : S_OK;
}

HRESULT Rowset::Fetch(DBROWOFFSET offset, DBROWCOUNT wanted, DBCOUNTITEM* obtained, HROW** rows) {
  const std::lock_guard lock(mutex_);
  const HRESULT allowed = CheckFetch(offset, wanted);
  if (FAILED(allowed) || wanted == 0) return allowed;
  const size_t limit = TheRuntime().options.rowsAtOnce;
  const size_t start = position_ + std::min<size_t>(offset, rows_.size() - position_);
  size_t count = std::min<size_t>(wanted, rows_.size() - start);
  const bool atEnd = count < static_cast<size_t>(wanted);
  const bool limited = limit != 0 && count > limit;
  if (limited) count = limit;
  position_ = start + count;
  if (count != 0 && !*rows) *rows = AllocateForClient<HROW>(count, "row handles");
  for (size_t i = 0; i < count; ++i) (*rows)[i] = Hold(start + i);
  *obtained = count;
  if (limited) return DB_S_ROWLIMITEXCEEDED;
  return atEnd ? DB_S_ENDOFROWSET : S_OK;
}

HROW Rowset::Hold(size_t index) {
  const HROW handle = TheRuntime().accounting.Add("row");
  held_[handle] = {index, 1};
  return handle;
}

HRESULT Rowset::BadRow(HROW row, const char* method) const {
  TheRuntime().accounting.Unexpected("IRowset::" + std::string(method) + " #" +
                                     std::to_string(Number()) + " with the bad row " +
                                     std::to_string(row));
  return DB_E_BADROWHANDLE;
}

HRESULT Rowset::AddRefRows(DBCOUNTITEM count, const HROW rows[], DBREFCOUNT references[],
                           DBROWSTATUS statuses[]) {
  Call call("IRowset::AddRefRows", Number());
  const std::lock_guard lock(mutex_);
  size_t failures = 0;
  for (DBCOUNTITEM i = 0; i < count; ++i) {
    const auto found = held_.find(rows[i]);
    const bool known = found != held_.end();
    if (known) ++found->second.references;
    if (references) references[i] = known ? found->second.references : 0;
    if (statuses) statuses[i] = known ? DBROWSTATUS_S_OK : DBROWSTATUS_E_INVALID;
    failures += known ? 0 : 1;
  }
  return call.Return(Summary(failures, count));
}

HRESULT Rowset::GetData(HROW row, HACCESSOR accessor, void* data) {
  Call call("IRowset::GetData", Number(), Call::Kind::kRow);
  call.With("row", row).With("accessor", accessor);
  if (call.Fails()) return call.Fail();
  if (!data) return call.Return(E_INVALIDARG);
  const auto bindings = Accessors().Find(accessor);
  if (!bindings) return call.Return(DB_E_BADACCESSORHANDLE);
  const std::lock_guard lock(mutex_);
  const auto found = held_.find(row);
  if (found == held_.end()) return call.Return(BadRow(row, "GetData"));
  return call.Return(Guarded(
      [&] { return StoreRow(rows_[found->second.index], *bindings, static_cast<BYTE*>(data)); }));
}

HRESULT Rowset::StoreRow(const OdbcRow& row, const Bindings& bindings, BYTE* buffer) {
  size_t failures = 0;
  for (const DBBINDING& binding : bindings) {
    if (binding.iOrdinal > columns_.size()) return DB_E_BADORDINAL;
    failures += IsFailure(StoreBound(row, binding, buffer)) ? 1 : 0;
  }
  return Summary(failures, bindings.size());
}

DBSTATUS Rowset::StoreBound(const OdbcRow& row, const DBBINDING& binding, BYTE* buffer) {
  const ResultColumn& column = columns_[binding.iOrdinal - 1];
  DBSTATUS status = DBSTATUS_S_OK;
  if (PlannedStatus(column, binding.iOrdinal, &status)) {
    StoreStatus(status, binding, buffer);
    return status;
  }
  return StoreCell(row[binding.iOrdinal - 1], column, binding, buffer);
}

bool Rowset::ReleaseOne(HROW row, DBREFCOUNT* left) {
  const auto found = held_.find(row);
  if (found == held_.end()) return false;
  *left = --found->second.references;
  if (*left != 0) return true;
  TheRuntime().accounting.Remove(static_cast<uint32_t>(row));
  held_.erase(found);
  return true;
}

HRESULT Rowset::ReleaseRows(DBCOUNTITEM count, const HROW rows[], DBROWOPTIONS options[],
                            DBREFCOUNT references[], DBROWSTATUS statuses[]) {
  Call call("IRowset::ReleaseRows", Number(), Call::Kind::kRow);
  call.With("count", count);
  if (call.Fails()) return call.Fail();
  // Options are reserved.
  if ((count != 0 && !rows) || options) return call.Return(E_INVALIDARG);
  const std::lock_guard lock(mutex_);
  size_t failures = 0;
  for (DBCOUNTITEM i = 0; i < count; ++i) {
    DBREFCOUNT left = 0;
    const bool known = ReleaseOne(rows[i], &left);
    if (!known) BadRow(rows[i], "ReleaseRows");
    if (references) references[i] = left;
    if (statuses) statuses[i] = known ? DBROWSTATUS_S_OK : DBROWSTATUS_E_INVALID;
    failures += known ? 0 : 1;
  }
  return call.Return(Summary(failures, count));
}

HRESULT Rowset::RestartPosition(HCHAPTER) {
  Call call("IRowset::RestartPosition", Number());
  if (call.Fails()) return call.Fail();
  const std::lock_guard lock(mutex_);
  if (!holdRows_ && !held_.empty()) return call.Return(DB_E_ROWSNOTRELEASED);
  position_ = 0;
  return call.Return(S_OK);
}

HRESULT Rowset::GetColumnInfo(DBORDINAL* count, DBCOLUMNINFO** info, OLECHAR** strings) {
  Call call("IColumnsInfo::GetColumnInfo", Number());
  if (call.Fails()) return call.Fail(count, info, strings);
  return call.Return(Guarded([&] { return CopyColumnInfo(columns_, count, info, strings); }));
}

HRESULT Rowset::MapColumnIDs(DBORDINAL count, const DBID ids[], DBORDINAL ordinals[]) {
  Call call("IColumnsInfo::MapColumnIDs", Number());
  if (call.Fails()) return call.Fail(ordinals);
  return call.Return(MapColumns(columns_, count, ids, ordinals));
}

HRESULT Rowset::GetProperties(const ULONG count, const DBPROPIDSET wanted[], ULONG* setCount,
                              DBPROPSET** sets) {
  return command_->GetProperties(count, wanted, setCount, sets);
}

HRESULT Rowset::GetReferencedRowset(DBORDINAL, REFIID, IUnknown** rowset) {
  if (rowset) *rowset = nullptr;
  return Unexpected("IRowsetInfo::GetReferencedRowset", Number());
}

HRESULT Rowset::GetSpecification(REFIID iid, IUnknown** origin) {
  Call call("IRowsetInfo::GetSpecification", Number());
  if (call.Fails()) return call.Fail(origin);
  return call.Return(command_->QueryInterface(iid, reinterpret_cast<void**>(origin)));
}

}  // namespace lab
