#include "lab/oledb/data_source.h"

#include <span>

#include "lab/common/text.h"
#include "lab/oledb/command.h"

namespace lab {
namespace {

// The initialisation properties; the headers declare the set, but no library defines it.
constexpr GUID kPropertiesInit = {
    0xc8b522bc, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};

// Whether the configured server and database are those that the client wants: "keyword=value" with
// semicolons between.
bool ServesRequested(const std::wstring& providerString) {
  const std::wstring pieces = FoldAscii(L";" + providerString + L";");
  const auto serves = [&](const wchar_t* keyword, const std::wstring& offered) {
    return offered.empty() || pieces.find(L";" + std::wstring(keyword) + L"=" + FoldAscii(offered) +
                                          L";") != pieces.npos;
  };
  return serves(L"server", Options().server) && serves(L"database", Options().database);
}

std::wstring TextOf(const VARIANT& value) {
  if (value.vt != VT_BSTR) return {};
  return {value.bstrVal, SysStringLen(value.bstrVal)};
}

// Calls `work` with each property and the set that it is of.
template <class Work>
void ForEach(ULONG count, DBPROPSET* sets, Work work) {
  for (ULONG i = 0; sets && i < count; ++i) {
    const std::span<DBPROP> properties(sets[i].rgProperties, sets[i].cProperties);
    for (DBPROP& property : properties) work(sets[i].guidPropertySet, property);
  }
}

DBPROPSTATUS Judge(const GUID& set, const DBPROP& property) {
  const bool known =
      IsEqualGUID(set, kPropertiesInit) && property.dwPropertyID == DBPROP_INIT_PROVIDERSTRING;
  if (!known) return DBPROPSTATUS_NOTSUPPORTED;
  const bool option =
      property.dwOptions == DBPROPOPTIONS_REQUIRED || property.dwOptions == DBPROPOPTIONS_OPTIONAL;
  if (!option) return DBPROPSTATUS_BADOPTION;
  return property.vValue.vt == VT_BSTR ? DBPROPSTATUS_OK : DBPROPSTATUS_BADVALUE;
}

}  // namespace

STDMETHODIMP DataSource::SetProperties(ULONG count, DBPROPSET sets[]) {
  Call call("IDBProperties::SetProperties", this);
  ForEach(count, sets, [&](const GUID&, const DBPROP& property) {
    call.Words("property" + std::to_string(property.dwPropertyID),
               Utf8FromWide(TextOf(property.vValue)));
  });
  return call.Run([&] {
    size_t total = 0;
    size_t failures = 0;
    providerString_.clear();
    ForEach(count, sets, [&](const GUID& set, DBPROP& property) {
      property.dwStatus = Judge(set, property);
      const bool taken = property.dwStatus == DBPROPSTATUS_OK;
      if (taken) providerString_ += TextOf(property.vValue) + L';';
      failures += taken ? 0 : 1;
      ++total;
    });
    if (failures == 0) return S_OK;
    return call.Refuse(Summary(failures, total), "a property that it does not take");
  });
}

STDMETHODIMP DataSource::Initialize() {
  Call call("IDBInitialize::Initialize", this);
  return call.Run([&]() -> HRESULT {
    if (connection_) return DB_E_ALREADYINITIALIZED;
    if (!ServesRequested(providerString_)) {
      call.Words("error", "no such server or database");
      return E_FAIL;
    }
    try {
      connection_ = std::make_shared<OdbcConnection>(OdbcConnectionString(), OdbcTextMode());
      return S_OK;
    } catch (const OdbcError& error) {
      call.Words("error", error.what());
      return error.State().starts_with("28") ? DB_SEC_E_AUTH_FAILED : E_FAIL;
    }
  });
}

STDMETHODIMP DataSource::CreateSession(IUnknown* outer, REFIID iid, IUnknown** session) {
  Call call("IDBCreateSession::CreateSession", this);
  call.Words("iid", GuidText(iid)).Out(session);
  call.Require(!outer, "an outer object", DB_E_NOAGGREGATION);
  return call.Run([&] {
    if (!connection_) return E_UNEXPECTED;
    return call.HandOut(iid, reinterpret_cast<void**>(session), new DbSession(connection_));
  });
}

STDMETHODIMP DbSession::CreateCommand(IUnknown* outer, REFIID iid, IUnknown** command) {
  Call call("IDBCreateCommand::CreateCommand", this);
  call.Words("iid", GuidText(iid)).Out(command);
  call.Require(!outer, "an outer object", DB_E_NOAGGREGATION);
  return call.Run([&] {
    return call.HandOut(iid, reinterpret_cast<void**>(command), new Command(connection_));
  });
}

}  // namespace lab
