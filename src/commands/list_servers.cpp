// -listServers: the BES servers in the configuration database.
#include <windows.h>

#include <cstdint>
#include <string>

#include "src/besdb/bes_database.h"
#include "src/commands/command.h"
#include "src/commands/help_screen.h"
#include "src/console/console.h"
#include "src/frame/switches.h"
#include "src/platform/com.h"

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

void PrintListServersUsage(const wchar_t* programName) {
  PrintUsage(programName, L" -listServers [-v]", {L"\t-c\tDisplay user counts.", kVerboseOption});
}

HRESULT qrvAdminListServers(int argc, wchar_t** argv) {
  const platform::ComApartment apartment;
  if (FAILED(apartment.Status())) {
    PrintLine(L"%hs: CoInitialize failed : 0x%x", "qrvAdminListServers", apartment.Status());
    return apartment.Status();
  }
  bool withCounts = false;
  // No "-v": the help screen lists it, and it does nothing here.
  ReadSwitches(argc, argv, {{L"-c", &withCounts}});
  return ListServers(withCounts);
}

}  // namespace

extern const Command kListServers = {L"-listServers", L"List BES servers", PrintListServersUsage,
                                     [](int argc, wchar_t** argv, const wchar_t*) -> int {
                                       return qrvAdminListServers(argc, argv);
                                     }};
