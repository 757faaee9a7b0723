#include "src/commands/server_lookup.h"

#include "src/console/console.h"
#include "src/platform/mapi.h"

HRESULT FindServer(CBESDatabase& database, const std::wstring& name, const char* function,
                   std::int32_t& serverId) {
  CBESDatabase::ServerMap servers;
  const HRESULT hr = database.GetServers(servers);
  if (FAILED(hr)) {
    PrintLine(L"%hs: GetServers failed : 0x%x", function, hr);
    return hr;
  }
  const auto found = servers.find(name);
  if (found == servers.end()) {
    PrintLine(L"%hs: Failed to find server '%s'", function, name.c_str());
    return MAPI_E_NOT_FOUND;
  }
  serverId = found->second;
  return S_OK;
}
