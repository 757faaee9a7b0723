#include "src/besdb/oledb/data_source.h"

// The data-links component.
#include <msdasc.h>

namespace oledb {

namespace {

// DBGUID_DEFAULT, the provider's own dialect, which is SQL. oledb.h defines its constants only for
// a file that asks for all of them, and mingw-w64 has no library with this one.
constexpr GUID kDefaultDialect = {
    0xC8B521FB, 0x5CF3, 0x11CE, {0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D}};

}  // namespace

HRESULT DataSource::OpenFromInitializationString(const std::wstring& initializationString) {
  platform::ComPtr<IDataInitialize> dataLinks;
  HRESULT hr = CoCreateInstance(CLSID_MSDAINITIALIZE, nullptr, CLSCTX_INPROC_SERVER,
                                IID_IDataInitialize, &dataLinks);
  if (FAILED(hr)) return hr;
  platform::ComPtr<IUnknown> created;
  hr = dataLinks->GetDataSource(nullptr, CLSCTX_INPROC_SERVER, initializationString.c_str(),
                                IID_IDBInitialize, &created);
  if (FAILED(hr)) return hr;
  platform::ComPtr<IDBInitialize> source;
  hr = created->QueryInterface(IID_IDBInitialize, &source);
  if (FAILED(hr)) return hr;
  hr = source->Initialize();
  if (SUCCEEDED(hr)) source_ = source;
  return hr;
}

HRESULT Session::Open(const DataSource& source) {
  platform::ComPtr<IDBCreateSession> factory;
  HRESULT hr = source.Get()->QueryInterface(IID_IDBCreateSession, &factory);
  if (FAILED(hr)) return hr;
  platform::ComPtr<IUnknown> created;
  hr = factory->CreateSession(nullptr, IID_IOpenRowset, &created);
  if (FAILED(hr)) return hr;
  return created->QueryInterface(IID_IOpenRowset, &session_);
}

HRESULT Session::CreateCommand(const std::wstring& sql,
                               platform::ComPtr<ICommandText>& command) const {
  platform::ComPtr<IDBCreateCommand> factory;
  HRESULT hr = session_->QueryInterface(IID_IDBCreateCommand, &factory);
  if (FAILED(hr)) return hr;
  platform::ComPtr<IUnknown> created;
  hr = factory->CreateCommand(nullptr, IID_ICommandText, &created);
  if (FAILED(hr)) return hr;
  hr = created->QueryInterface(IID_ICommandText, &command);
  return FAILED(hr) ? hr : command->SetCommandText(kDefaultDialect, sql.c_str());
}

HRESULT Session::Execute(const std::wstring& sql) const {
  platform::ComPtr<ICommandText> command;
  const HRESULT hr = CreateCommand(sql, command);
  if (FAILED(hr)) return hr;
  return command->Execute(nullptr, IID_NULL, nullptr, nullptr, nullptr);
}

}  // namespace oledb
