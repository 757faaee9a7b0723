#include "src/commands/list_servers.h"

#include <cstdint>
#include <string>

#include "src/besdb/bes_database.h"
#include "src/frontend/console.h"
#include "src/guards/switches.h"
#include "src/platform/com.h"

namespace {

HRESULT ListServers(bool withCounts);

}  // namespace

HRESULT qrvAdminListServers(int argc, wchar_t** argv) {
  const platform::ComApartment apartment;
  if (FAILED(apartment.Status())) {
    PrintLine(L"%hs: CoInitialize failed : 0x%x", "qrvAdminListServers", apartment.Status());
    return apartment.Status();
  }
  bool withCounts = false;
  // No "-v": the help screen lists it, and it does nothing here.
  ScanSwitches(argc, argv, {{L"-c", &withCounts}});
  return ListServers(withCounts);
}

namespace {

// A server whose users cannot be counted shows nothing.
HRESULT PrintServer(CBESDatabase& database, const std::wstring& name, std::int32_t id,
                    bool withCounts) {
  std::uint32_t users = 0;
  if (withCounts) {
    const HRESULT hr = database.CountServerUsers(id, users);
    if (FAILED(hr)) return hr;
  }
  PrintLine(L"Id: %d", id);
  if (withCounts) PrintLine(L"Users: %d", users);
  PrintLine(L"MachineName: %s", name.c_str());
  PrintLine(L" ");
  return S_OK;
}

HRESULT ListServers(bool withCounts) {
  CBESDatabase database;
  CBESDatabase::ServerMap servers;
  HRESULT hr = database.GetServers(servers);
  if (FAILED(hr)) return hr;
  for (const auto& [name, id] : servers) {
    hr = PrintServer(database, name, id, withCounts);
    if (FAILED(hr)) return hr;
  }
  return hr;
}

}  // namespace
