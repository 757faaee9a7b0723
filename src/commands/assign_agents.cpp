// -assignAgents: stores for a server's users, and the users spread over its agents.
#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

#include "src/besdb/bes_database.h"
#include "src/commands/agent_batches.h"
#include "src/commands/command.h"
#include "src/commands/embedded_stores.h"
#include "src/commands/help_screen.h"
#include "src/commands/server_lookup.h"
#include "src/console/console.h"
#include "src/console/user_break.h"
#include "src/frame/mapi_frame.h"
#include "src/frame/switches.h"
#include "src/platform/text.h"
#include "src/stores/store_manager.h"

namespace {

constexpr const char* kFunction = "AssignUsersToAgents";

using Addresses = std::vector<std::wstring>;

// This computer's NetBIOS name in capitals, as the database keeps server names.
HRESULT ServerName(std::wstring& name) {
  wchar_t buffer[260] = {};
  auto size = static_cast<DWORD>(std::size(buffer));
  if (!GetComputerNameExW(ComputerNameNetBIOS, buffer, &size)) {
    PrintLine(L"%hs: GetComputerNameEx failed : 0x%x", kFunction, GetLastError());
    return E_FAIL;
  }
  name = buffer;
  platform::UpperAscii(name);
  return S_OK;
}

HRESULT GetUsers(CBESDatabase& database, Addresses& users) {
  std::wstring serverName;
  std::int32_t serverId = 0;
  HRESULT hr = ServerName(serverName);
  if (SUCCEEDED(hr)) hr = FindServer(database, serverName, kFunction, serverId);
  if (FAILED(hr)) return hr;
  hr = database.GetServerUserNames(serverId, users);
  if (FAILED(hr)) PrintLine(L"%hs: GetServerUserNames failed : 0x%x", kFunction, hr);
  return hr;
}

// The root store is nobody's mailbox and is left out.
HRESULT LoadStores(CStoreManager& storeManager) {
  const HRESULT hr = storeManager.LoadCache(false);
  if (SUCCEEDED(hr)) return hr;
  PrintLine(L"%hs: StoreManager::LoadCache failed : 0x%x", kFunction, hr);
  return E_FAIL;
}

// Sorted.
Addresses UsersWithoutStore(Addresses users, const CStoreManager& storeManager) {
  Addresses owners;
  for (const auto& [entryId, record] : storeManager.Stores) owners.push_back(record.Email);
  std::sort(owners.begin(), owners.end());
  std::sort(users.begin(), users.end());
  Addresses missing;
  std::set_difference(users.begin(), users.end(), owners.begin(), owners.end(),
                      std::back_inserter(missing));
  return missing;
}

// `loaded` is the status of the load before, and comes back when there is nothing to create.
HRESULT CreateMissingStores(CStoreManager& storeManager, const Addresses& users, HRESULT loaded) {
  const Addresses missing = UsersWithoutStore(users, storeManager);
  if (missing.empty()) return loaded;
  PrintLine(L"%hs: Creating %d MAPI stores...", kFunction, static_cast<int>(missing.size()));
  std::vector<HRESULT> results;
  HRESULT hr =
      storeManager.LogonToStores(missing, /*createMode=*/true, /*checkMode=*/false, results);
  if (FAILED(hr)) {
    PrintLine(L"%hs: LogonToStores failed : 0x%x", kFunction, hr);
    return hr;
  }
  hr = LoadStores(storeManager);
  if (FAILED(hr)) return hr;
  // The single results say less: those of the last jobs are never collected.
  if (UsersWithoutStore(users, storeManager).empty()) return hr;
  PrintLine(L"%hs: Failed to create MAPI stores : 0x%x", kFunction, E_FAIL);
  return E_FAIL;
}

// Only stores with a file of their own turn the rotation. A batch that fails ends the walk.
HRESULT WriteAgents(CBESDatabase& database, const CStoreManager::StoreMap& stores,
                    std::uint32_t baseAgentId, std::uint32_t numberOfAgents, HRESULT status) {
  AgentBatches batches([&](const std::wstring& sqlText) { return database.Execute(sqlText); },
                       stores.size(), status);
  std::uint32_t agentId = baseAgentId;
  for (const auto& [entryId, record] : stores) {
    if (FAILED(batches.Status())) break;
    if (record.Kind == StoreKind::EmbeddedStore) continue;
    batches.Assign(agentId, record.Email);
    ForEachEmbeddedStore(record, stores,
                         [&](const StoreRecord& child) { batches.Assign(agentId, child.Email); });
    ++agentId;
    if (agentId >= baseAgentId + numberOfAgents) agentId = baseAgentId;
  }
  batches.Finish();
  return batches.Status();
}

// Takes the users that the configuration database lists for this computer's server, has the
// connector create the stores of those who have none in the profile (not with `existingOnly`), and
// writes into the database which agent serves each store: one agent after the other, from
// `baseAgentId` to baseAgentId + numberOfAgents - 1, an embedded store with its parent's. Returns
// the status of the last statement, or the failure that kept it from running. MAPI must be
// initialised on the calling thread. After a failure ahead of the assignment COM stays initialised.
HRESULT AssignUsersToAgents(const std::wstring& profileName, std::uint32_t baseAgentId,
                            std::uint32_t numberOfAgents, bool existingOnly) {
  InstallConsoleCtrlHandler();
  HRESULT hr = CoInitialize(nullptr);
  if (FAILED(hr)) {
    PrintLine(L"%hs: CoInitialize failed : 0x%x", kFunction, hr);
    return hr;
  }
  PrintLine(L"Base Agentid=%d", baseAgentId);
  PrintLine(L"Number of Agents=%d", numberOfAgents);
  {
    // Gone before COM is.
    CBESDatabase database;
    CStoreManager storeManager;
    storeManager.ProfileName = profileName;
    Addresses users;
    hr = GetUsers(database, users);
    if (SUCCEEDED(hr)) hr = LoadStores(storeManager);
    if (SUCCEEDED(hr) && !existingOnly) hr = CreateMissingStores(storeManager, users, hr);
    // Kept: without CoUninitialize, which only a run that gets to the assignment calls. The process
    // ends soon.
    if (FAILED(hr)) return hr;
    hr = WriteAgents(database, storeManager.Stores, baseAgentId, numberOfAgents, hr);
  }
  PrintLine(L"Done");
  CoUninitialize();
  return hr;
}

void PrintAssignAgentsUsage(const wchar_t* programName) {
  PrintUsage(
      programName, L" -assignAgents -p profileName [-b baseAgentId] [-n numAgents] [-e] [-c] [-v]",
      {kProfileOption, L"\t-b\tThe base agentid.", L"\t-n\tThe number of agents.",
       L"\t-e\tOnly assign agentids to existing MAPI stores.", kRestartOption, kVerboseOption});
}

int qrvAdminAssignAgents(int argc, wchar_t** argv, const wchar_t* programName) {
  std::wstring profileName;
  BoundedNumber baseAgentId{.fallback = 200, .limit = 400};
  BoundedNumber numberOfAgents{.fallback = 2, .limit = 100};
  bool existingOnly = false;
  bool restart = false;
  ReadSwitches(argc, argv,
               {{L"-p", &profileName},
                {L"-b", &baseAgentId},
                {L"-n", &numberOfAgents},
                {L"-e", &existingOnly},
                {L"-c", &restart},
                {L"-v", &VerboseOutput}});
  if (profileName.empty()) {
    PrintAssignAgentsUsage(programName);
    return 1;
  }
  const auto assign = [&] {
    return AssignUsersToAgents(profileName, baseAgentId.Value(), numberOfAgents.Value(),
                               existingOnly);
  };
  return RunExclusiveMapiCommand({assign, [&](HRESULT) { return restart; }});
}

}  // namespace

extern const Command kAssignAgents = {L"-assignAgents", L"Assign users to BES agents",
                                      PrintAssignAgentsUsage, qrvAdminAssignAgents};
