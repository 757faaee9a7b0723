#include "lab/oledb/data_source.h"

#include <oledberr.h>

#include "lab/bes/registration.h"
#include "lab/common/text.h"
#include "lab/oledb/call.h"
#include "lab/oledb/odbc_error.h"
#include "lab/oledb/session.h"

namespace lab {
namespace {

// The value of `keyword` in "keyword=value;keyword=value".
std::wstring KeywordValue(const std::wstring& text, std::wstring_view keyword) {
  size_t start = 0;
  while (start < text.size()) {
    const size_t end = std::min(text.find(L';', start), text.size());
    const std::wstring piece = text.substr(start, end - start);
    const size_t equals = piece.find(L'=');
    if (equals != std::wstring::npos && EqualsFolded(piece.substr(0, equals), keyword)) {
      return piece.substr(equals + 1);
    }
    start = end + 1;
  }
  return {};
}

void JournalProperties(ULONG count, const DBPROPSET* sets, Call* call) {
  for (ULONG i = 0; sets && i < count; ++i) {
    for (ULONG j = 0; j < sets[i].cProperties; ++j) {
      const DBPROP& property = sets[i].rgProperties[j];
      const std::string name = "property" + std::to_string(property.dwPropertyID);
      if (property.vValue.vt == VT_BSTR) {
        call->With(name, std::wstring_view(property.vValue.bstrVal,
                                           SysStringLen(property.vValue.bstrVal)));
      } else {
        call->With(name, static_cast<uint64_t>(property.vValue.llVal));
      }
    }
  }
}

}  // namespace

DataSource::DataSource() : ComObject("data source") {}

void* DataSource::FindInterface(REFIID iid) {
  if (iid == IID_IUnknown || iid == IID_IDBInitialize) return static_cast<IDBInitialize*>(this);
  if (iid == IID_IDBProperties) return static_cast<IDBProperties*>(this);
  if (iid == IID_IPersist) return static_cast<IPersist*>(this);
  if (iid == IID_IDBCreateSession) return static_cast<IDBCreateSession*>(this);
  return nullptr;
}

HRESULT DataSource::Initialize() {
  Call call("IDBInitialize::Initialize", Number());
  if (call.Fails()) return call.Fail();
  if (connection_) return call.Return(DB_E_ALREADYINITIALIZED);
  if (!ServesRequested()) return call.With("error", L"no such server or database").Return(E_FAIL);
  try {
    connection_ = std::make_shared<OdbcConnection>(OdbcConnectionString(), OdbcTextMode());
  } catch (const OdbcError& error) {
    return call.With("error", WideFromUtf8(error.what())).Return(ConnectResult(error));
  }
  return call.Return(S_OK);
}

HRESULT DataSource::Uninitialize() {
  Call call("IDBInitialize::Uninitialize", Number());
  if (call.Fails()) return call.Fail();
  if (sessions_ != 0) return call.Return(DB_E_OBJECTOPEN);
  connection_.reset();
  return call.Return(S_OK);
}

std::wstring DataSource::Requested(DBPROPID property, const wchar_t* keyword,
                                   const wchar_t* otherKeyword) const {
  std::wstring value = properties_.Text(property);
  const std::wstring extended = properties_.Text(DBPROP_INIT_PROVIDERSTRING);
  if (value.empty()) value = KeywordValue(extended, keyword);
  return value.empty() ? KeywordValue(extended, otherKeyword) : value;
}

bool DataSource::ServesRequested() const {
  const ProviderOptions& options = TheRuntime().options;
  const auto serves = [](const std::wstring& offered, const std::wstring& requested) {
    return offered.empty() || EqualsFolded(offered, requested);
  };
  return serves(options.server, Requested(DBPROP_INIT_DATASOURCE, L"Server", L"Data Source")) &&
         serves(options.database, Requested(DBPROP_INIT_CATALOG, L"Database", L"Initial Catalog"));
}

HRESULT DataSource::GetProperties(ULONG count, const DBPROPIDSET wanted[], ULONG* setCount,
                                  DBPROPSET** sets) {
  Call call("IDBProperties::GetProperties", Number());
  if (call.Fails()) return call.Fail(setCount, sets);
  return call.Return(Guarded([&] { return properties_.Get(count, wanted, setCount, sets); }));
}

HRESULT DataSource::GetPropertyInfo(ULONG count, const DBPROPIDSET wanted[], ULONG* setCount,
                                    DBPROPINFOSET** sets, OLECHAR** descriptions) {
  Call call("IDBProperties::GetPropertyInfo", Number());
  if (call.Fails()) return call.Fail(setCount, sets, descriptions);
  return call.Return(
      Guarded([&] { return DescribeInitProperties(count, wanted, setCount, sets, descriptions); }));
}

HRESULT DataSource::SetProperties(ULONG count, DBPROPSET sets[]) {
  Call call("IDBProperties::SetProperties", Number());
  JournalProperties(count, sets, &call);
  if (call.Fails()) return call.Fail();
  return call.Return(Guarded([&] { return properties_.Set(count, sets); }));
}

HRESULT DataSource::CreateSession(IUnknown* outer, REFIID iid, IUnknown** session) {
  Call call("IDBCreateSession::CreateSession", Number());
  call.With("iid", iid);
  if (call.Fails()) return call.Fail(session);
  if (!session) return call.Return(E_INVALIDARG);
  *session = nullptr;
  if (outer) return call.Return(DB_E_NOAGGREGATION);
  if (!connection_) return call.Return(E_UNEXPECTED);
  return call.Return(Guarded([&] {
    const auto created = Ref<Session>::Adopt(new Session(Ref<DataSource>(this), connection_));
    return created->QueryInterface(iid, reinterpret_cast<void**>(session));
  }));
}

HRESULT DataSource::GetClassID(CLSID* id) {
  if (!id) return E_POINTER;
  *id = kProviderClass;
  return S_OK;
}

}  // namespace lab
