// The data source: where a client sets properties, connects and asks for a session.
#pragma once

#include <memory>

#include "lab/bes/odbc_connection.h"
#include "lab/oledb/com_object.h"
#include "lab/oledb/properties.h"

namespace lab {

class DataSource final
    : public ComObject<IDBInitialize, IDBProperties, IDBCreateSession, IPersist> {
 public:
  DataSource();

  HRESULT STDMETHODCALLTYPE Initialize() override;
  HRESULT STDMETHODCALLTYPE Uninitialize() override;

  HRESULT STDMETHODCALLTYPE GetProperties(ULONG count, const DBPROPIDSET wanted[], ULONG* setCount,
                                          DBPROPSET** sets) override;
  HRESULT STDMETHODCALLTYPE GetPropertyInfo(ULONG count, const DBPROPIDSET wanted[],
                                            ULONG* setCount, DBPROPINFOSET** sets,
                                            OLECHAR** descriptions) override;
  HRESULT STDMETHODCALLTYPE SetProperties(ULONG count, DBPROPSET sets[]) override;

  HRESULT STDMETHODCALLTYPE CreateSession(IUnknown* outer, REFIID iid, IUnknown** session) override;

  HRESULT STDMETHODCALLTYPE GetClassID(CLSID* id) override;

  // Called by a session as it comes and goes.
  void SessionOpened() { ++sessions_; }
  void SessionClosed() { --sessions_; }

 private:
  void* FindInterface(REFIID iid) override;
  bool ServesRequested() const;
  std::wstring Requested(DBPROPID property, const wchar_t* keyword,
                         const wchar_t* otherKeyword) const;

  PropertyBag properties_{kPropertiesInit};
  std::shared_ptr<OdbcConnection> connection_;
  std::atomic<int> sessions_ = 0;
};

}  // namespace lab
