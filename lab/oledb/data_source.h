// Data sources, where a client connects and asks for sessions, and sessions, where it gets its
// commands.
#pragma once

#include <memory>
#include <string>

#include "lab/bes/odbc_connection.h"
#include "lab/com/call.h"
#include "lab/oledb/provider.h"

namespace lab {

class DataSource final : public Object<IDBInitialize, IDBProperties, IDBCreateSession> {
 public:
  DataSource() : Object("data source") {}

  STDMETHODIMP Initialize() override;
  // Knows one property: the string for the provider, which the data links component passes in
  // pieces.
  STDMETHODIMP SetProperties(ULONG count, DBPROPSET sets[]) override;
  STDMETHODIMP CreateSession(IUnknown* outer, REFIID iid, IUnknown** session) override;

  // What no program is expected to need.
  LAB_REFUSE(Uninitialize, ())
  LAB_REFUSE(GetProperties, (ULONG, const DBPROPIDSET[], ULONG*, DBPROPSET**))
  LAB_REFUSE(GetPropertyInfo, (ULONG, const DBPROPIDSET[], ULONG*, DBPROPINFOSET**, OLECHAR**))

 protected:
  void LetGo() override { connection_.reset(); }

 private:
  std::wstring providerString_;
  std::shared_ptr<OdbcConnection> connection_;
};

class DbSession final : public Object<IOpenRowset, IDBCreateCommand> {
 public:
  explicit DbSession(std::shared_ptr<OdbcConnection> connection)
      : Object("session"), connection_(std::move(connection)) {}

  STDMETHODIMP CreateCommand(IUnknown* outer, REFIID iid, IUnknown** command) override;

  // What no program is expected to need.
  LAB_REFUSE(OpenRowset, (IUnknown*, DBID*, DBID*, REFIID, ULONG, DBPROPSET[], IUnknown**))

 protected:
  void LetGo() override { connection_.reset(); }

 private:
  std::shared_ptr<OdbcConnection> connection_;
};

}  // namespace lab
