// A session: where a client gets its commands.
#pragma once

#include <memory>

#include "lab/bes/odbc_connection.h"
#include "lab/oledb/com_object.h"
#include "lab/oledb/data_source.h"
#include "lab/oledb/properties.h"

namespace lab {

class Session final
    : public ComObject<IOpenRowset, IDBCreateCommand, IGetDataSource, ISessionProperties> {
 public:
  Session(Ref<DataSource> source, std::shared_ptr<OdbcConnection> connection);
  ~Session() override;

  OdbcConnection& Connection() const { return *connection_; }

  HRESULT STDMETHODCALLTYPE OpenRowset(IUnknown* outer, DBID* table, DBID* index, REFIID iid,
                                       ULONG count, DBPROPSET sets[], IUnknown** rowset) override;

  HRESULT STDMETHODCALLTYPE CreateCommand(IUnknown* outer, REFIID iid, IUnknown** command) override;

  HRESULT STDMETHODCALLTYPE GetDataSource(REFIID iid, IUnknown** source) override;

  HRESULT STDMETHODCALLTYPE GetProperties(ULONG count, const DBPROPIDSET wanted[], ULONG* setCount,
                                          DBPROPSET** sets) override;
  HRESULT STDMETHODCALLTYPE SetProperties(ULONG count, DBPROPSET sets[]) override;

 private:
  void* FindInterface(REFIID iid) override;

  const Ref<DataSource> source_;
  const std::shared_ptr<OdbcConnection> connection_;
  PropertyBag properties_{kPropertiesSession};
};

}  // namespace lab
