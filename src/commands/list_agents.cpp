#include "src/commands/list_agents.h"

#include <cwchar>
#include <string>

#include "src/besdb/bes_database.h"
#include "src/frontend/console.h"
#include "src/frontend/usage.h"
#include "src/frontend/user_break.h"
#include "src/guards/switches.h"
#include "src/platform/com.h"
#include "src/platform/text.h"

namespace {

constexpr const char* kFunction = "qrvAdminListAgents";

HRESULT FindServer(CBESDatabase& database, std::wstring server, std::int32_t& serverId) {
  CBESDatabase::ServerMap servers;
  const HRESULT hr = database.GetServers(servers);
  if (FAILED(hr)) {
    PrintLine(L"%hs: GetServers failed : 0x%x", kFunction, hr);
    return hr;
  }
  platform::UpperAscii(server);
  const auto found = servers.find(server);
  if (found == servers.end()) {
    PrintLine(L"%hs: Failed to find server '%s'", kFunction, server.c_str());
    return HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
  }
  serverId = found->second;
  return S_OK;
}

HRESULT PrintAgents(CBESDatabase& database, std::int32_t serverId) {
  std::set<std::int32_t> agentIds;
  std::multimap<std::int32_t, std::wstring> usersByAgent;
  const HRESULT hr = database.GetServerUserNamesByAgentId(serverId, agentIds, usersByAgent);
  if (FAILED(hr)) {
    PrintLine(L"%hs: GetServerUserNamesByAgentId failed : 0x%x", kFunction, hr);
    return hr;
  }
  for (const std::int32_t agentId : agentIds) {
    PrintLine(L"AgentId: %d", agentId);
    PrintLine(L"Users: %d", static_cast<int>(usersByAgent.count(agentId)));
    PrintLine(L" ");
  }
  return hr;
}

HRESULT ListAgents(const std::wstring& server) {
  CBESDatabase database;
  std::int32_t serverId = 0;
  const HRESULT hr = FindServer(database, server, serverId);
  return FAILED(hr) ? hr : PrintAgents(database, serverId);
}

}  // namespace

HRESULT qrvAdminListAgents(int argc, wchar_t** argv, const wchar_t* programName) {
  std::wstring server;
  ScanSwitches(argc, argv, {{L"-s", &server}, {L"-v", &VerboseOutput}});
  // A last "-s" that lacks its value asks for help even when an earlier one had one.
  const bool lacksValue = argc > 1 && wcscmp(argv[argc - 1], L"-s") == 0;
  if (server.empty() || lacksValue) {
    PrintListAgentsUsage(programName);
    return 1;
  }
  const platform::ComApartment apartment;
  if (FAILED(apartment.Status())) {
    PrintLine(L"%hs: CoInitialize failed : 0x%x", kFunction, apartment.Status());
    return apartment.Status();
  }
  return ListAgents(server);
}
