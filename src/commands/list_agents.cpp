// -listAgents: the agents of one BES server.
#include <windows.h>

#include <cstdint>
#include <cwchar>
#include <map>
#include <set>
#include <string>

#include "src/besdb/bes_database.h"
#include "src/commands/command.h"
#include "src/commands/help_screen.h"
#include "src/commands/server_lookup.h"
#include "src/console/console.h"
#include "src/console/user_break.h"
#include "src/frame/switches.h"
#include "src/platform/com.h"
#include "src/platform/text.h"

namespace {

constexpr const char* kFunction = "qrvAdminListAgents";

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

HRESULT ListAgents(std::wstring server) {
  platform::UpperAscii(server);
  CBESDatabase database;
  std::int32_t serverId = 0;
  const HRESULT hr = FindServer(database, server, kFunction, serverId);
  return FAILED(hr) ? hr : PrintAgents(database, serverId);
}

void PrintListAgentsUsage(const wchar_t* programName) {
  PrintUsage(programName, L" -listAgents -s server [-v]",
             {L"\t-s\tThe BES server name.", kVerboseOption});
}

HRESULT qrvAdminListAgents(int argc, wchar_t** argv, const wchar_t* programName) {
  std::wstring server;
  ReadSwitches(argc, argv, {{L"-s", &server}, {L"-v", &VerboseOutput}});
  // A last argument "-s" asks for help even when an earlier one had a value.
  const bool endsInSwitch = argc > 1 && wcscmp(argv[argc - 1], L"-s") == 0;
  if (server.empty() || endsInSwitch) {
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

}  // namespace

extern const Command kListAgents = {
    L"-listAgents", L"List BES agents for a server", PrintListAgentsUsage,
    [](int argc, wchar_t** argv, const wchar_t* programName) -> int {
      return qrvAdminListAgents(argc, argv, programName);
    }};
