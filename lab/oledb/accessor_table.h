// The accessors of a command or a rowset: the whole of IAccessor but the COM around it.
#pragma once

#include <windows.h>
// After windows.h.
#include <oledb.h>

#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "lab/oledb/column.h"

namespace lab {

using Bindings = std::vector<DBBINDING>;

class AccessorTable {
 public:
  AccessorTable() = default;
  // Starts with the accessors of a command under the same handles.
  explicit AccessorTable(const AccessorTable& inherited);
  AccessorTable& operator=(const AccessorTable&) = delete;
  // What is still there counts as lost.
  ~AccessorTable();

  // The methods of IAccessor for the object `owner`. Creating checks bindings against `columns`,
  // which is null as long as the columns are not known.
  HRESULT Create(uint32_t owner, const std::vector<ResultColumn>* columns, DBACCESSORFLAGS flags,
                 DBCOUNTITEM count, const DBBINDING* bindings, HACCESSOR* accessor,
                 DBBINDSTATUS* statuses);
  HRESULT AddReference(uint32_t owner, HACCESSOR accessor, DBREFCOUNT* references);
  HRESULT Release(uint32_t owner, HACCESSOR accessor, DBREFCOUNT* references);
  HRESULT GetBindings(uint32_t owner, HACCESSOR accessor, DBACCESSORFLAGS* flags,
                      DBCOUNTITEM* count, DBBINDING** bindings);

  // The bindings of an accessor; null when the handle is none.
  std::shared_ptr<const Bindings> Find(HACCESSOR accessor) const;

 private:
  struct Entry {
    std::shared_ptr<const Bindings> bindings;
    DBREFCOUNT references = 1;
    uint32_t number = 0;  // in the accounting; 0 for an inherited accessor
  };

  HRESULT BadHandle(uint32_t owner, HACCESSOR accessor, const char* method) const;

  mutable std::mutex mutex_;
  std::map<HACCESSOR, Entry> entries_;
};

}  // namespace lab
