#include "lab/oledb/rowset.h"

#include <algorithm>

#include "lab/common/text.h"

namespace lab {
namespace {

// The status that the fault plan wants a value of `column` to have instead of its own.
std::optional<DBSTATUS> PlannedStatus(const ResultColumn& column, DBORDINAL ordinal) {
  Runtime& runtime = Runtime::Get();
  const std::string name =
      column.name.empty() ? std::to_string(ordinal) : Utf8FromWide(column.name);
  if (runtime.Planned("value-null:" + name)) return DBSTATUS_S_ISNULL;
  return runtime.Planned("value-status:" + name);
}

bool IsFailure(DBSTATUS status) {
  return status != DBSTATUS_S_OK && status != DBSTATUS_S_ISNULL && status != DBSTATUS_S_TRUNCATED;
}

std::string Bad(const char* what, uint64_t handle) {
  return std::string("the bad ") + what + ' ' + std::to_string(handle);
}

}  // namespace

void Rowset::LetGo() {
  Account& account = Runtime::Get().Held();
  for (const auto& [row, index] : held_) account.Lose(static_cast<uint32_t>(row));
  for (const auto& [accessor, bindings] : accessors_) account.Lose(static_cast<uint32_t>(accessor));
  rows_ = {};
  columns_ = {};
}

STDMETHODIMP Rowset::GetNextRows(HCHAPTER, DBROWOFFSET offset, DBROWCOUNT wanted,
                                 DBCOUNTITEM* obtained, HROW** rows) {
  Call call("IRowset::GetNextRows", this);
  call.Count("offset", offset).Count("wanted", wanted).Out(obtained);
  call.Require(offset == 0, "rows to pass over", DB_E_CANTSCROLLBACKWARDS);
  call.Require(wanted >= 0, "a way back", DB_E_CANTFETCHBACKWARDS);
  call.Require(rows && *rows, "no room for the rows").OnlyFailures(Options().briefJournal);
  return call.Run([&] {
    const std::lock_guard lock(mutex_);
    const char* operation = std::exchange(fetched_, true) ? "next-row" : "first-row";
    if (const auto planned = Runtime::Get().Planned(operation)) {
      return static_cast<HRESULT>(*planned);
    }
    const HRESULT result = Fetch(static_cast<size_t>(wanted), obtained, *rows);
    call.Count("obtained", static_cast<int64_t>(*obtained));
    return result;
  });
}

HRESULT Rowset::CheckMove() const {
  return !Options().holdRows && !held_.empty() ? DB_E_ROWSNOTRELEASED : S_OK;
}

HRESULT Rowset::Fetch(size_t wanted, DBCOUNTITEM* obtained, HROW* rows) {
  const HRESULT allowed = CheckMove();
  if (FAILED(allowed)) return allowed;
  const size_t limit = Options().rowsAtOnce;
  const size_t available = std::min(wanted, rows_.size() - position_);
  const bool limited = limit != 0 && available > limit;
  *obtained = limited ? limit : available;
  for (DBCOUNTITEM i = 0; i < *obtained; ++i) {
    rows[i] = Runtime::Get().Held().Add("row");
    held_[rows[i]] = position_++;
  }
  if (limited) return DB_S_ROWLIMITEXCEEDED;
  return available < wanted ? DB_S_ENDOFROWSET : S_OK;
}

STDMETHODIMP Rowset::GetData(HROW row, HACCESSOR accessor, void* data) {
  Call call("IRowset::GetData", this);
  call.Count("row", static_cast<int64_t>(row)).Count("accessor", static_cast<int64_t>(accessor));
  call.Require(data, "no room for the values").OnlyFailures(Options().briefJournal);
  return call.Run([&] {
    const std::lock_guard lock(mutex_);
    const auto bindings = accessors_.find(accessor);
    if (bindings == accessors_.end()) {
      return call.Refuse(DB_E_BADACCESSORHANDLE, Bad("accessor", accessor));
    }
    const auto held = held_.find(row);
    if (held == held_.end()) return call.Refuse(DB_E_BADROWHANDLE, Bad("row", row));
    size_t failures = 0;
    for (const DBBINDING& binding : bindings->second) {
      const DBSTATUS status = StoreBound(rows_[held->second], binding, static_cast<BYTE*>(data));
      failures += IsFailure(status) ? 1 : 0;
    }
    return Summary(failures, bindings->second.size());
  });
}

DBSTATUS Rowset::StoreBound(const OdbcRow& row, const DBBINDING& binding, BYTE* buffer) const {
  const size_t index = binding.iOrdinal - 1;
  const auto planned = PlannedStatus(columns_[index], binding.iOrdinal);
  if (!planned) return StoreCell(row[index], binding, buffer);
  StoreStatus(*planned, binding, buffer);
  return *planned;
}

STDMETHODIMP Rowset::ReleaseRows(DBCOUNTITEM count, const HROW rows[], DBROWOPTIONS options[],
                                 DBREFCOUNT references[], DBROWSTATUS statuses[]) {
  Call call("IRowset::ReleaseRows", this);
  call.Count("count", static_cast<int64_t>(count)).Require(count == 0 || rows, "no rows");
  call.Require(!options && !references && !statuses, "more than rows");
  call.OnlyFailures(Options().briefJournal);
  return call.Run([&] {
    const std::lock_guard lock(mutex_);
    size_t failures = 0;
    for (DBCOUNTITEM i = 0; i < count; ++i) {
      if (held_.erase(rows[i]) == 0) {
        ++failures;
        call.Refuse(DB_E_BADROWHANDLE, Bad("row", rows[i]));
      } else {
        Runtime::Get().Held().Remove(static_cast<uint32_t>(rows[i]));
      }
    }
    return Summary(failures, count);
  });
}

STDMETHODIMP Rowset::RestartPosition(HCHAPTER) {
  Call call("IRowset::RestartPosition", this);
  return call.Run([&] {
    const std::lock_guard lock(mutex_);
    const HRESULT allowed = CheckMove();
    if (SUCCEEDED(allowed)) position_ = 0;
    return allowed;
  });
}

DBBINDSTATUS Rowset::Judge(const DBBINDING& binding) const {
  constexpr DBPART kParts = DBPART_VALUE | DBPART_LENGTH | DBPART_STATUS;
  if (binding.iOrdinal == 0 || binding.iOrdinal > columns_.size()) return DBBINDSTATUS_BADORDINAL;
  if (binding.dwPart != kParts || binding.dwFlags != 0 ||
      binding.dwMemOwner != DBMEMOWNER_CLIENTOWNED) {
    return DBBINDSTATUS_BADBINDINFO;
  }
  return CanBindAs(binding.wType) ? DBBINDSTATUS_OK : DBBINDSTATUS_UNSUPPORTEDCONVERSION;
}

STDMETHODIMP Rowset::CreateAccessor(DBACCESSORFLAGS flags, DBCOUNTITEM count,
                                    const DBBINDING bindings[], DBLENGTH, HACCESSOR* accessor,
                                    DBBINDSTATUS statuses[]) {
  Call call("IAccessor::CreateAccessor", this);
  call.Count("flags", flags).Count("bindings", static_cast<int64_t>(count)).Out(accessor);
  call.Require(flags == DBACCESSOR_ROWDATA, "other flags than for rows", DB_E_BADACCESSORFLAGS);
  call.Require(count != 0 && bindings, "no bindings");
  return call.Run([&] {
    bool sound = true;
    for (DBCOUNTITEM i = 0; i < count; ++i) {
      const DBBINDSTATUS status = Judge(bindings[i]);
      if (statuses) statuses[i] = status;
      sound = sound && status == DBBINDSTATUS_OK;
    }
    if (!sound) return call.Refuse(DB_E_ERRORSOCCURRED, "a binding that it cannot serve");
    const std::lock_guard lock(mutex_);
    *accessor = Runtime::Get().Held().Add("accessor");
    accessors_[*accessor].assign(bindings, bindings + count);
    call.Count("accessor", static_cast<int64_t>(*accessor));
    return S_OK;
  });
}

STDMETHODIMP Rowset::ReleaseAccessor(HACCESSOR accessor, DBREFCOUNT* references) {
  Call call("IAccessor::ReleaseAccessor", this);
  call.Count("accessor", static_cast<int64_t>(accessor)).Out(references, false);
  return call.Run([&] {
    const std::lock_guard lock(mutex_);
    if (accessors_.erase(accessor) == 0) {
      return call.Refuse(DB_E_BADACCESSORHANDLE, Bad("accessor", accessor));
    }
    Runtime::Get().Held().Remove(static_cast<uint32_t>(accessor));
    return S_OK;
  });
}

STDMETHODIMP Rowset::GetColumnInfo(DBORDINAL* count, DBCOLUMNINFO** info, OLECHAR** strings) {
  Call call("IColumnsInfo::GetColumnInfo", this);
  call.Out(count).Out(info).Out(strings);
  return call.Run([&] {
    if (!columns_.empty()) CopyColumnInfo(columns_, info, strings);
    *count = columns_.size();
    return S_OK;
  });
}

}  // namespace lab
