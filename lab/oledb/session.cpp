#include "lab/oledb/session.h"

#include <oledberr.h>

#include "lab/oledb/call.h"
#include "lab/oledb/command.h"

namespace lab {

Session::Session(Ref<DataSource> source, std::shared_ptr<OdbcConnection> connection)
    : ComObject("session"), source_(std::move(source)), connection_(std::move(connection)) {
  source_->SessionOpened();
}

Session::~Session() { source_->SessionClosed(); }

void* Session::FindInterface(REFIID iid) {
  if (iid == IID_IUnknown || iid == IID_IOpenRowset) return static_cast<IOpenRowset*>(this);
  if (iid == IID_IDBCreateCommand) return static_cast<IDBCreateCommand*>(this);
  if (iid == IID_IGetDataSource) return static_cast<IGetDataSource*>(this);
  if (iid == IID_ISessionProperties) return static_cast<ISessionProperties*>(this);
  return nullptr;
}

HRESULT Session::OpenRowset(IUnknown*, DBID*, DBID*, REFIID, ULONG, DBPROPSET[],
                            IUnknown** rowset) {
  if (rowset) *rowset = nullptr;
  return Unexpected("IOpenRowset::OpenRowset", Number());
}

HRESULT Session::CreateCommand(IUnknown* outer, REFIID iid, IUnknown** command) {
  Call call("IDBCreateCommand::CreateCommand", Number());
  call.With("iid", iid);
  if (call.Fails()) return call.Fail(command);
  if (!command) return call.Return(E_INVALIDARG);
  *command = nullptr;
  if (outer) return call.Return(DB_E_NOAGGREGATION);
  return call.Return(Guarded([&] {
    const auto created = Ref<Command>::Adopt(new Command(Ref<Session>(this)));
    return created->QueryInterface(iid, reinterpret_cast<void**>(command));
  }));
}

HRESULT Session::GetDataSource(REFIID iid, IUnknown** source) {
  Call call("IGetDataSource::GetDataSource", Number());
  if (call.Fails()) return call.Fail(source);
  return call.Return(source_->QueryInterface(iid, reinterpret_cast<void**>(source)));
}

HRESULT Session::GetProperties(ULONG count, const DBPROPIDSET wanted[], ULONG* setCount,
                               DBPROPSET** sets) {
  Call call("ISessionProperties::GetProperties", Number());
  if (call.Fails()) return call.Fail(setCount, sets);
  return call.Return(Guarded([&] { return properties_.Get(count, wanted, setCount, sets); }));
}

HRESULT Session::SetProperties(ULONG count, DBPROPSET sets[]) {
  Call call("ISessionProperties::SetProperties", Number());
  if (call.Fails()) return call.Fail();
  return call.Return(Guarded([&] { return properties_.Set(count, sets); }));
}

}  // namespace lab
