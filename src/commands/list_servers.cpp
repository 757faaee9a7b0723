#include "src/commands/list_servers.h"

#include "src/besdb/bes_database.h"
#include "src/frontend/console.h"
#include "src/guards/switches.h"
#include "src/platform/com.h"

namespace {

HRESULT PrintUserCount(CBESDatabase& database, std::int32_t serverId) {
  std::uint32_t count = 0;
  const HRESULT hr = database.CountServerUsers(serverId, count);
  if (FAILED(hr)) return hr;
  PrintLine(L"Id: %d", serverId);
  PrintLine(L"Users: %d", count);
  return hr;
}

HRESULT ListServers(bool withCounts) {
  CBESDatabase database;
  CBESDatabase::ServerMap servers;
  HRESULT hr = database.GetServers(servers);
  for (const auto& [name, id] : servers) {
    if (FAILED(hr)) break;
    if (withCounts) {
      hr = PrintUserCount(database, id);
      if (FAILED(hr)) break;
    } else {
      PrintLine(L"Id: %d", id);
    }
    PrintLine(L"MachineName: %s", name.c_str());
    PrintLine(L" ");
  }
  return hr;
}

}  // namespace

HRESULT qrvAdminListServers(int argc, wchar_t** argv) {
  const platform::ComApartment apartment;
  if (FAILED(apartment.Status())) {
    PrintLine(L"%hs: CoInitialize failed : 0x%x", "qrvAdminListServers", apartment.Status());
    return apartment.Status();
  }
  bool withCounts = false;
  // No "-v", though the help screen lists it: it has never done anything here.
  ScanSwitches(argc, argv, {{L"-c", &withCounts}});
  return ListServers(withCounts);
}
