// A rowset: the rows of a result, handed out by handle.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "lab/com/call.h"
#include "lab/oledb/column.h"
#include "lab/oledb/provider.h"

namespace lab {

class Rowset final : public Object<IRowset, IAccessor, IColumnsInfo> {
 public:
  Rowset(std::vector<ResultColumn> columns, std::vector<OdbcRow> rows)
      : Object("rowset"), columns_(std::move(columns)), rows_(std::move(rows)) {}

  // Forward only, into an array of the client's.
  STDMETHODIMP GetNextRows(HCHAPTER chapter, DBROWOFFSET offset, DBROWCOUNT wanted,
                           DBCOUNTITEM* obtained, HROW** rows) override;
  STDMETHODIMP GetData(HROW row, HACCESSOR accessor, void* data) override;
  STDMETHODIMP ReleaseRows(DBCOUNTITEM count, const HROW rows[], DBROWOPTIONS options[],
                           DBREFCOUNT references[], DBROWSTATUS statuses[]) override;
  STDMETHODIMP RestartPosition(HCHAPTER chapter) override;

  STDMETHODIMP CreateAccessor(DBACCESSORFLAGS flags, DBCOUNTITEM count, const DBBINDING bindings[],
                              DBLENGTH rowSize, HACCESSOR* accessor,
                              DBBINDSTATUS statuses[]) override;
  STDMETHODIMP ReleaseAccessor(HACCESSOR accessor, DBREFCOUNT* references) override;

  STDMETHODIMP GetColumnInfo(DBORDINAL* count, DBCOLUMNINFO** info, OLECHAR** strings) override;

  // What no program is expected to need.
  LAB_REFUSE(AddRefRows, (DBCOUNTITEM, const HROW[], DBREFCOUNT[], DBROWSTATUS[]))
  LAB_REFUSE(AddRefAccessor, (HACCESSOR, DBREFCOUNT*))
  LAB_REFUSE(GetBindings, (HACCESSOR, DBACCESSORFLAGS*, DBCOUNTITEM*, DBBINDING**))
  LAB_REFUSE(MapColumnIDs, (DBORDINAL, const DBID[], DBORDINAL[]))

 protected:
  // Rows and accessors that are still held can no longer be given back.
  void LetGo() override;

 private:
  // These take no lock of their own.
  HRESULT CheckMove() const;
  HRESULT Fetch(size_t wanted, DBCOUNTITEM* obtained, HROW* rows);
  DBSTATUS StoreBound(const OdbcRow& row, const DBBINDING& binding, BYTE* buffer) const;

  DBBINDSTATUS Judge(const DBBINDING& binding) const;

  std::vector<ResultColumn> columns_;
  std::vector<OdbcRow> rows_;
  std::mutex mutex_;  // guards what follows
  std::map<HROW, size_t> held_;
  std::map<HACCESSOR, std::vector<DBBINDING>> accessors_;
  size_t position_ = 0;
  bool fetched_ = false;
};

}  // namespace lab
