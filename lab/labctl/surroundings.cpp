#include "lab/labctl/surroundings.h"

#include <windows.h>

#include <iterator>
#include <optional>

#include "lab/bes/bes_database.h"
#include "lab/bes/registration.h"
#include "lab/common/lab_config.h"
#include "lab/common/text.h"
#include "lab/controller/controller_control.h"
#include "lab/labctl/output.h"
#include "lab/repair/repair_control.h"
#include "lab/stub/stub_control.h"
#include "lab/stub/stub_plan.h"

namespace lab {
namespace {

struct StateName {
  const wchar_t* name;
  ControllerState state;
};
constexpr StateName kStates[] = {
    {L"absent", ControllerState::kAbsent},        {L"stopped", ControllerState::kStopped},
    {L"running", ControllerState::kRunning},      {L"paused", ControllerState::kPaused},
    {L"pending", ControllerState::kStartPending}, {L"broken", ControllerState::kBroken},
    {L"disabled", ControllerState::kDisabled},
};

// A file of the lab, beside this program.
std::wstring LabFile(const wchar_t* name) {
  wchar_t path[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  return DirectoryOf(path) + L'\\' + name;
}

std::wstring ThisComputer() {
  wchar_t name[260] = {};
  DWORD size = static_cast<DWORD>(std::size(name));
  GetComputerNameExW(ComputerNameNetBIOS, name, &size);
  for (wchar_t& character : name) {
    if (character >= L'a' && character <= L'z') character -= L'a' - L'A';
  }
  return name;
}

std::optional<int32_t> Number(const std::wstring& word) {
  const auto number = ParseNumber(Utf8FromWide(word));
  return number ? std::optional<int32_t>(static_cast<int32_t>(*number)) : std::nullopt;
}

std::string TextOf(const std::optional<std::wstring>& value) {
  return value ? Utf8FromWide(*value) : "NULL";
}

std::string TextOf(const std::optional<int32_t>& value) {
  return value ? std::to_string(*value) : "NULL";
}

}  // namespace

int PutController(const Words& words) {
  for (const StateName& state : kStates) {
    if (words[0] != state.name) continue;
    return Outcome(SetController(state.state, LabFile(L"controller.exe"), LabDirectory()),
                   "the service manager refuses");
  }
  return kNotUnderstood;
}

int MakeDatabase(const Words& words) {
  if (!RegisterOledbProvider() || !SetBesDatabaseLocation(words[0], words[1])) {
    return Outcome(false, "the registry refuses");
  }
  BesDatabase().CreateTables();
  return kDone;
}

int AddBesServer(const Words& words) {
  const auto id = Number(words[0]);
  if (!id) return kNotUnderstood;
  BesServer server;
  server.id = id;
  server.machineName = words[1] == L"this" ? ThisComputer() : words[1];
  if (words.size() > 2) server.mailStoreType = words[2];
  BesDatabase().AddServer(server);
  return kDone;
}

int AddBesUser(const Words& words) {
  const auto server = Number(words[0]);
  const auto agent = words.size() > 2 ? Number(words[2]) : 0;
  if (!server || !agent) return kNotUnderstood;
  BesUser user;
  user.serverConfigId = server;
  user.userName = words[1];
  user.mailboxDn = words[1];
  user.agentId = agent;
  BesDatabase().AddUser(user);
  return kDone;
}

int ShowBesUsers(const Words&) {
  for (const BesUser& user : BesDatabase().Users()) {
    Print("server " + TextOf(user.serverConfigId) + "  agent " + TextOf(user.agentId) + "  " +
          TextOf(user.mailboxDn) + "\n");
  }
  return kDone;
}

int HoldDesktop(const Words& words) {
  const auto seconds = ParseNumber(Utf8FromWide(words[0]));
  if (!seconds) return kNotUnderstood;
  KeepDesktopWarm();
  Print("warm\n");
  Sleep(*seconds * 1000);
  return kDone;
}

int PlaceTool(const Words& words) {
  const std::string path = NarrowFromWide(words[0] + L"\\msmapi32.dll");
  const bool placed =
      PlaceRepairTool(words[0], LabFile(kRepairTool)) &&
      SetStub(StubPlace::kMapistub, StubState::kPlaced, LabFile(L"stub\\mapistub.dll")) &&
      StubPlan().Path("*", path).Save(LabDirectory());
  return Outcome(placed, "the file system refuses");
}

}  // namespace lab
