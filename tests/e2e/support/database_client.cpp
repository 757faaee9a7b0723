// A program that runs the product's database operations in any order on one connection. Its
// arguments are the operations, each with what it takes behind it; "-v" turns verbose output on.
// For each it prints the result and, on success or not, what the operation collected:
//
//   connect   servers   count 7   names 7   agents 7   execute "UPDATE ..."
#include <windows.h>

#include <string>
#include <vector>

#include "src/besdb/bes_database.h"
#include "src/console/console.h"
#include "src/console/user_break.h"
#include "src/platform/com.h"

namespace {

int NumberOf(const std::wstring& word) {
  return static_cast<int>(wcstol(word.c_str(), nullptr, 10));
}

HRESULT ShowServers(CBESDatabase& database) {
  CBESDatabase::ServerMap servers;
  const HRESULT hr = database.GetServers(servers);
  for (const auto& [name, id] : servers) PrintLine(L"%s: %d", name.c_str(), id);
  return hr;
}

HRESULT ShowCount(CBESDatabase& database, int serverId) {
  std::uint32_t count = 4711;
  const HRESULT hr = database.CountServerUsers(serverId, count);
  PrintLine(L"%d", count);
  return hr;
}

HRESULT ShowNames(CBESDatabase& database, int serverId) {
  std::vector<std::wstring> names;
  const HRESULT hr = database.GetServerUserNames(serverId, names);
  for (const std::wstring& name : names) PrintText(name);
  return hr;
}

HRESULT ShowAgents(CBESDatabase& database, int serverId) {
  std::set<std::int32_t> agentIds;
  std::multimap<std::int32_t, std::wstring> users;
  const HRESULT hr = database.GetServerUserNamesByAgentId(serverId, agentIds, users);
  for (const std::int32_t id : agentIds) PrintLine(L"agent %d", id);
  for (const auto& [id, name] : users) PrintLine(L"%d: %s", id, name.c_str());
  return hr;
}

HRESULT RunOperation(CBESDatabase& database, const std::wstring& word, const std::wstring& value) {
  if (word == L"connect") return database.Connect();
  if (word == L"servers") return ShowServers(database);
  if (word == L"count") return ShowCount(database, NumberOf(value));
  if (word == L"names") return ShowNames(database, NumberOf(value));
  if (word == L"agents") return ShowAgents(database, NumberOf(value));
  return word == L"execute" ? database.Execute(value) : E_NOTIMPL;
}

void RunAll(const std::vector<std::wstring>& words) {
  CBESDatabase database;
  for (size_t i = 0; i < words.size(); ++i) {
    const std::wstring& word = words[i];
    const bool takesValue = word != L"connect" && word != L"servers";
    const std::wstring value = takesValue && i + 1 < words.size() ? words[++i] : L"";
    PrintLine(L"%s = 0x%x", word.c_str(), RunOperation(database, word, value));
  }
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  SetUpConsole();
  std::vector<std::wstring> words(argv + 1, argv + argc);
  VerboseOutput = std::erase(words, L"-v") != 0;
  const platform::ComApartment apartment;
  RunAll(words);
  return 0;
}
