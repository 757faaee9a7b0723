// A rowset: the rows of a result, handed out by handle.
#pragma once

#include <map>
#include <mutex>
#include <vector>

#include "lab/oledb/accessor_object.h"
#include "lab/oledb/command.h"

namespace lab {

class Call;

class Rowset final : public AccessorObject<IRowset, IColumnsInfo, IRowsetInfo> {
 public:
  // `holdRows`: rows may be fetched while others are held.
  Rowset(Ref<Command> command, std::vector<ResultColumn> columns, std::vector<OdbcRow> rows,
         bool holdRows);
  ~Rowset() override;

  // Whether a rowset has the interface.
  static bool Serves(REFIID iid);

  // IRowset.
  HRESULT STDMETHODCALLTYPE AddRefRows(DBCOUNTITEM count, const HROW rows[],
                                       DBREFCOUNT references[], DBROWSTATUS statuses[]) override;
  HRESULT STDMETHODCALLTYPE GetData(HROW row, HACCESSOR accessor, void* data) override;
  HRESULT STDMETHODCALLTYPE GetNextRows(HCHAPTER chapter, DBROWOFFSET offset, DBROWCOUNT wanted,
                                        DBCOUNTITEM* obtained, HROW** rows) override;
  HRESULT STDMETHODCALLTYPE ReleaseRows(DBCOUNTITEM count, const HROW rows[],
                                        DBROWOPTIONS options[], DBREFCOUNT references[],
                                        DBROWSTATUS statuses[]) override;
  HRESULT STDMETHODCALLTYPE RestartPosition(HCHAPTER chapter) override;

  // IColumnsInfo.
  HRESULT STDMETHODCALLTYPE GetColumnInfo(DBORDINAL* count, DBCOLUMNINFO** info,
                                          OLECHAR** strings) override;
  HRESULT STDMETHODCALLTYPE MapColumnIDs(DBORDINAL count, const DBID ids[],
                                         DBORDINAL ordinals[]) override;

  // IRowsetInfo.
  HRESULT STDMETHODCALLTYPE GetProperties(const ULONG count, const DBPROPIDSET wanted[],
                                          ULONG* setCount, DBPROPSET** sets) override;
  HRESULT STDMETHODCALLTYPE GetReferencedRowset(DBORDINAL ordinal, REFIID iid,
                                                IUnknown** rowset) override;
  HRESULT STDMETHODCALLTYPE GetSpecification(REFIID iid, IUnknown** origin) override;

 private:
  struct HeldRow {
    size_t index = 0;
    DBREFCOUNT references = 1;
  };

  void* FindInterface(REFIID iid) override;
  const std::vector<ResultColumn>* KnownColumns() const override { return &columns_; }
  HRESULT CheckFetch(DBROWOFFSET offset, DBROWCOUNT wanted) const;
  HRESULT Fetch(DBROWOFFSET offset, DBROWCOUNT wanted, DBCOUNTITEM* obtained, HROW** rows);
  HROW Hold(size_t index);
  bool ReleaseOne(HROW row, DBREFCOUNT* left);
  HRESULT StoreRow(const OdbcRow& row, const Bindings& bindings, BYTE* buffer);
  DBSTATUS StoreBound(const OdbcRow& row, const DBBINDING& binding, BYTE* buffer);
  HRESULT BadRow(HROW row, const char* method) const;

  const Ref<Command> command_;
  const std::vector<ResultColumn> columns_;
  const std::vector<OdbcRow> rows_;
  const bool holdRows_;
  mutable std::mutex mutex_;
  std::map<HROW, HeldRow> held_;
  size_t position_ = 0;
  bool fetched_ = false;
};

}  // namespace lab
