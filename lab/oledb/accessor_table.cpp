#include "lab/oledb/accessor_table.h"

#include <oledberr.h>

#include <algorithm>

#include "lab/oledb/call.h"
#include "lab/oledb/conversion.h"
#include "lab/oledb/memory.h"

namespace lab {
namespace {

constexpr DBPART kKnownParts = DBPART_VALUE | DBPART_LENGTH | DBPART_STATUS;

DBBINDSTATUS Judge(const DBBINDING& binding, const std::vector<ResultColumn>* columns) {
  if (binding.iOrdinal == 0) return DBBINDSTATUS_BADORDINAL;
  if (columns && binding.iOrdinal > columns->size()) return DBBINDSTATUS_BADORDINAL;
  if (binding.dwPart == 0 || (binding.dwPart & ~kKnownParts) != 0) return DBBINDSTATUS_BADBINDINFO;
  if (binding.dwFlags != 0 || binding.dwMemOwner != DBMEMOWNER_CLIENTOWNED) {
    return DBBINDSTATUS_BADBINDINFO;
  }
  return CanBindAs(binding.wType) ? DBBINDSTATUS_OK : DBBINDSTATUS_UNSUPPORTEDCONVERSION;
}

bool JudgeAll(DBCOUNTITEM count, const DBBINDING* bindings,
              const std::vector<ResultColumn>* columns, DBBINDSTATUS* statuses) {
  bool sound = true;
  for (DBCOUNTITEM i = 0; i < count; ++i) {
    const DBBINDSTATUS status = Judge(bindings[i], columns);
    if (statuses) statuses[i] = status;
    sound = sound && status == DBBINDSTATUS_OK;
  }
  return sound;
}

}  // namespace

AccessorTable::AccessorTable(const AccessorTable& inherited) {
  const std::lock_guard lock(inherited.mutex_);
  for (const auto& [handle, entry] : inherited.entries_) entries_[handle] = {entry.bindings, 1, 0};
}

AccessorTable::~AccessorTable() {
  for (const auto& [handle, entry] : entries_) {
    if (entry.number != 0) TheRuntime().accounting.Lose(entry.number);
  }
}

HRESULT AccessorTable::Create(uint32_t owner, const std::vector<ResultColumn>* columns,
                              DBACCESSORFLAGS flags, DBCOUNTITEM count, const DBBINDING* bindings,
                              HACCESSOR* accessor, DBBINDSTATUS* statuses) {
  Call call("IAccessor::CreateAccessor", owner);
  call.With("flags", flags).With("bindings", count);
  if (call.Fails()) return call.Fail(accessor);
  if (!accessor || (count != 0 && !bindings)) return call.Return(E_INVALIDARG);
  *accessor = DB_NULL_HACCESSOR;
  if (flags == (DBACCESSOR_ROWDATA | DBACCESSOR_PASSBYREF)) {
    return call.Return(DB_E_BYREFACCESSORNOTSUPPORTED);
  }
  if ((flags & ~DBACCESSOR_OPTIMIZED) != DBACCESSOR_ROWDATA) {
    return call.Return(DB_E_BADACCESSORFLAGS);
  }
  if (count == 0) return call.Return(DB_E_NULLACCESSORNOTSUPPORTED);
  if (!JudgeAll(count, bindings, columns, statuses)) return call.Return(DB_E_ERRORSOCCURRED);
  const uint32_t number = TheRuntime().accounting.Add("accessor");
  {
    const std::lock_guard lock(mutex_);
    entries_[number] = {std::make_shared<const Bindings>(bindings, bindings + count), 1, number};
  }
  *accessor = number;
  return call.With("accessor", number).Return(S_OK);
}

HRESULT AccessorTable::AddReference(uint32_t owner, HACCESSOR accessor, DBREFCOUNT* references) {
  Call call("IAccessor::AddRefAccessor", owner);
  call.With("accessor", accessor);
  const std::lock_guard lock(mutex_);
  const auto found = entries_.find(accessor);
  if (found == entries_.end()) return call.Return(BadHandle(owner, accessor, "AddRefAccessor"));
  ++found->second.references;
  if (references) *references = found->second.references;
  return call.Return(S_OK);
}

HRESULT AccessorTable::Release(uint32_t owner, HACCESSOR accessor, DBREFCOUNT* references) {
  Call call("IAccessor::ReleaseAccessor", owner);
  call.With("accessor", accessor);
  if (call.Fails()) return call.Fail(references);
  const std::lock_guard lock(mutex_);
  const auto found = entries_.find(accessor);
  if (found == entries_.end()) return call.Return(BadHandle(owner, accessor, "ReleaseAccessor"));
  const DBREFCOUNT left = --found->second.references;
  if (references) *references = left;
  if (left == 0) {
    if (found->second.number != 0) TheRuntime().accounting.Remove(found->second.number);
    entries_.erase(found);
  }
  return call.Return(S_OK);
}

HRESULT AccessorTable::GetBindings(uint32_t owner, HACCESSOR accessor, DBACCESSORFLAGS* flags,
                                   DBCOUNTITEM* count, DBBINDING** bindings) {
  Call call("IAccessor::GetBindings", owner);
  call.With("accessor", accessor);
  if (!flags || !count || !bindings) return call.Return(E_INVALIDARG);
  const auto found = Find(accessor);
  if (!found) return call.Return(BadHandle(owner, accessor, "GetBindings"));
  *flags = DBACCESSOR_ROWDATA;
  *count = found->size();
  *bindings = AllocateForClient<DBBINDING>(found->size(), "bindings");
  std::copy(found->begin(), found->end(), *bindings);
  return call.Return(S_OK);
}

std::shared_ptr<const Bindings> AccessorTable::Find(HACCESSOR accessor) const {
  const std::lock_guard lock(mutex_);
  const auto found = entries_.find(accessor);
  return found == entries_.end() ? nullptr : found->second.bindings;
}

HRESULT AccessorTable::BadHandle(uint32_t owner, HACCESSOR accessor, const char* method) const {
  TheRuntime().accounting.Unexpected("IAccessor::" + std::string(method) + " #" +
                                     std::to_string(owner) + " with the bad accessor " +
                                     std::to_string(accessor));
  return DB_E_BADACCESSORHANDLE;
}

}  // namespace lab
