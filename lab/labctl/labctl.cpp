// labctl: makes and shows a simulated installation. Its exit codes: 0 done, 1 failed, 2 not
// understood.
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <variant>

#include "lab/bes/bes_database.h"
#include "lab/bes/registration.h"
#include "lab/common/compaction_plan.h"
#include "lab/common/dialog_record.h"
#include "lab/common/fault_plan.h"
#include "lab/common/files.h"
#include "lab/common/installation.h"
#include "lab/controller/controller_control.h"
#include "lab/labctl/store_options.h"
#include "lab/repair/repair_control.h"
#include "lab/stub/stub_control.h"
#include "lab/stub/stub_plan.h"

namespace lab {
namespace {

using Run = void (*)(const Words& words);
// A verb that adds a store and takes the switches of one.
using AddStore = void (*)(const Words& words, const StoreOptions& options);

struct Verb {
  const wchar_t* name;
  const char* arguments;
  const char* help;
  size_t least;  // how many words must follow
  size_t most;   // ... and may
  std::variant<Run, AddStore> action;
};

constexpr char kRegistryRefuses[] = "the registry refuses";
constexpr char kNoSuchStore[] = "the profile has no such store";

// Prints UTF-8 text with each line end as CR LF: as characters on a console, as UTF-8 into a file
// or a pipe.
void Write(DWORD standardHandle, std::string_view text) {
  std::string data;
  for (const char c : text) data += c == '\n' ? std::string("\r\n") : std::string(1, c);
  HANDLE handle = GetStdHandle(standardHandle);
  DWORD mode = 0;
  DWORD written = 0;
  if (GetConsoleMode(handle, &mode)) {
    const std::wstring wide = WideFromUtf8(data);
    WriteConsoleW(handle, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr);
  } else {
    WriteFile(handle, data.data(), static_cast<DWORD>(data.size()), &written, nullptr);
  }
}

void Print(std::string_view text) { Write(STD_OUTPUT_HANDLE, text); }

// Throws `failure` as what is printed before labctl fails, unless `done`.
void Require(bool done, const char* failure) {
  if (!done) throw std::runtime_error(failure);
}

// The value; throws NotUnderstood when there is none.
template <class Type>
Type Understood(const std::optional<Type>& value) {
  if (!value) throw NotUnderstood();
  return *value;
}

uint32_t NumberOf(const std::wstring& word) { return Understood(ParseNumber(Utf8FromWide(word))); }

// --- Profiles and stores ---

void MakeProfile(const Words& words) {
  Require(Profile(words[0]).Create(), "the registry refuses the profile");
}

void DropProfile(const Words& words) {
  Require(Profile(words[0]).Delete(), "the registry refuses to delete the profile");
}

void AddRoot(const Words& words, const StoreOptions& options) {
  Profile(words[0]).AddRootStore(words[1], words[2], options);
}

void AddSecondary(const Words& words, const StoreOptions& options) {
  Profile(words[0]).AddSecondaryStore(words[1], words[2], options);
}

void AddEmbedded(const Words& words, const StoreOptions& options) {
  const auto parent = Profile(words[0]).Find(words[2]);
  Require(parent.has_value(), "the profile has no such parent");
  Profile(words[0]).AddEmbeddedStore(words[1], *parent, options);
}

void AddOrphan(const Words& words, const StoreOptions& options) {
  Profile(words[0]).AddOrphan(words[1], options);
}

void Remove(const Words& words) {
  const auto service = Profile(words[0]).Find(words[1]);
  Require(service && Profile(words[0]).Remove(service->uid), kNoSuchStore);
}

void Mark(const Words& words) {
  std::optional<uint32_t> mark;
  if (words[2] != L"none") mark = NumberOf(words[2]);
  const auto service = Profile(words[0]).Find(words[1]);
  Require(service && Profile(words[0]).Mark(service->uid, mark), kNoSuchStore);
}

void Show(const Words& words) {
  Print(words.empty() ? DescribeInstallation() : Profile(words[0]).Describe());
}

// --- Store files ---

void Damage(const Words& words) {
  const QsfDamage damage = Understood(QsfDamageFromText(Utf8FromWide(words[1])));
  Require(DamageQsf(words[0], damage), "the file cannot be read or written");
}

void RequireOk(QsfStatus status) { Require(status == QsfStatus::kOk, QsfStatusText(status)); }

void Repair(const Words& words) { RequireOk(RepairQsf(words[0])); }

void Compact(const Words& words) { RequireOk(CompactQsf(words[0], nullptr)); }

void Lock(const Words& words) {
  const uint32_t seconds = NumberOf(words[1]);
  const QsfLock lock(words[0]);
  Require(lock.Held(), "the file is missing or in use");
  Print("locked\n");
  Sleep(seconds * 1000);
}

void MakeFile(const Words& words) {
  const uint64_t size = Understood(ParseNumber<uint64_t>(Utf8FromWide(words[1])));
  Require(WriteFileOfSize(words[0], size), "the file cannot be written");
}

void Companions(const Words& words) {
  const std::vector<std::wstring> written =
      words.size() == 1 ? WriteCompanions(words[0])
                        : WriteCompanions(words[0], {words.begin() + 1, words.end()});
  for (const std::wstring& path : written) Print(Utf8FromWide(path) + "\n");
  Require(!written.empty(), "the files cannot be written");
}

void Accessed(const Words& words) {
  const UtcTime time = Understood(ParseUtcTime(Utf8FromWide(words[1])));
  Require(SetLastAccess(words[0], time), "the file's times cannot be set");
}

// --- Settings ---

void SetDirectory(const Words& words) {
  Require(SetLabDirectory(words[0] == L"none" ? L"" : words[0]), kRegistryRefuses);
}

void SetOutlook(const Words& words) {
  std::optional<OutlookVersion> version;
  if (words[0] != L"none") {
    version = {0, 0};
    const std::string text = Utf8FromWide(words[0]);
    if (std::sscanf(text.c_str(), "%u.%u", &version->major, &version->minor) < 1) {
      throw NotUnderstood();
    }
  }
  Require(WriteOutlookVersion(version), kRegistryRefuses);
}

// --- Plans ---

template <class Plan>
void SavePlan(const Plan& plan) {
  Require(plan.Save(LabDirectory()), "the plan cannot be written");
}

std::string PlanLine(Words::const_iterator first, Words::const_iterator last) {
  std::string line;
  for (auto word = first; word != last; ++word) line += Quote(Utf8FromWide(*word)) + ' ';
  return line + '\n';
}

// Adds what the text says to the plan in the lab's directory, and prints the plan.
template <class Plan>
void AddToPlan(const std::string& text) {
  const std::wstring directory = LabDirectory();
  Require(!directory.empty(), "the lab has no directory");
  Plan plan = Plan::Load(directory);
  if (!plan.Parse(text)) throw NotUnderstood();
  Print(plan.Format());
  SavePlan(plan);
}

template <class Plan>
void AddRule(const Words& words) {
  AddToPlan<Plan>(PlanLine(words.begin(), words.end()));
}

void AddRepairOption(const Words& words) {
  if (words.size() != (words[0] == L"file" ? 4 : 2)) throw NotUnderstood();
  const auto option = words.end() - 2;
  AddToPlan<RepairPlan>(PlanLine(words.begin(), option) + PlanLine(option, words.end()));
}

template <class Plan>
void EmptyPlan(const Words&) {
  SavePlan(Plan());
}

// --- The journal ---

void ShowJournal(const Words& words) {
  const std::string text = words.empty() ? "" : Utf8FromWide(words[0]);
  for (const JournalEntry& entry : ReadJournal(JournalPath())) {
    const std::string line = FormatJournalLine(entry);
    if (line.find(text) != std::string::npos) Print(line + "\n");
  }
}

void ShowDialogs(const Words&) {
  for (const DialogRecord& record : Dialogs(ReadJournal(JournalPath()))) {
    Print(DescribeDialog(record) + "\n");
  }
}

void NoJournal(const Words&) {
  Require(DeleteFileW(JournalPath().c_str()) || GetLastError() == ERROR_FILE_NOT_FOUND,
          "the journal cannot be deleted");
}

// --- What lies around the profiles ---

constexpr NamedValue<ControllerState> kStates[] = {
    {ControllerState::kAbsent, "absent"},        {ControllerState::kStopped, "stopped"},
    {ControllerState::kRunning, "running"},      {ControllerState::kPaused, "paused"},
    {ControllerState::kStartPending, "pending"}, {ControllerState::kBroken, "broken"},
    {ControllerState::kDisabled, "disabled"},
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

std::string TextOf(const std::optional<std::wstring>& value) {
  return value ? Utf8FromWide(*value) : "NULL";
}

std::string TextOf(const std::optional<int32_t>& value) {
  return value ? std::to_string(*value) : "NULL";
}

void PutController(const Words& words) {
  const ControllerState state = Understood(ValueNamed(kStates, Utf8FromWide(words[0])));
  Require(SetController(state, LabFile(L"controller.exe"), LabDirectory()),
          "the service manager refuses");
}

void MakeDatabase(const Words& words) {
  Require(RegisterOledbProvider() && SetBesDatabaseLocation(words[0], words[1]),
          "the registry refuses");
  BesDatabase().CreateTables();
}

void AddBesServer(const Words& words) {
  BesServer server;
  server.id = NumberOf(words[0]);
  server.machineName = words[1] == L"this" ? ThisComputer() : words[1];
  if (words.size() > 2) server.mailStoreType = words[2];
  BesDatabase().AddServer(server);
}

void AddBesUser(const Words& words) {
  BesUser user;
  user.serverConfigId = NumberOf(words[0]);
  user.userName = words[1];
  user.mailboxDn = words[1];
  if (words.size() > 2) user.agentId = NumberOf(words[2]);
  BesDatabase().AddUser(user);
}

void ShowBesUsers(const Words&) {
  for (const BesUser& user : BesDatabase().Users()) {
    Print("server " + TextOf(user.serverConfigId) + "  agent " + TextOf(user.agentId) + "  " +
          TextOf(user.mailboxDn) + "\n");
  }
}

void HoldDesktop(const Words& words) {
  const uint32_t seconds = NumberOf(words[0]);
  KeepDesktopWarm();
  Print("warm\n");
  Sleep(seconds * 1000);
}

void PlaceTool(const Words& words) {
  const std::string path = NarrowFromWide(words[0] + L"\\msmapi32.dll");
  Require(PlaceRepairTool(words[0], LabFile(kRepairTool)) &&
              SetStub(StubPlace::kMapistub, StubState::kPlaced, LabFile(L"stub\\mapistub.dll")) &&
              StubPlan().Path("*", path).Save(LabDirectory()),
          "the file system refuses");
}

// --- All verbs ---

void Help(const Words& words);

constexpr size_t kAny = SIZE_MAX;
constexpr Verb kVerbs[] = {
    {L"profile", "PROFILE", "make an empty profile", 1, 1, MakeProfile},
    {L"drop", "PROFILE", "delete a profile; the store files stay", 1, 1, DropProfile},
    {L"root", "PROFILE ADDRESS FILE [switches]", "add the root store", 3, 3, AddRoot},
    {L"secondary", "PROFILE ADDRESS FILE [switches]", "add a store with its own file", 3, 3,
     AddSecondary},
    {L"embedded", "PROFILE ADDRESS PARENT [switches]", "add a store inside another's file", 3, 3,
     AddEmbedded},
    {L"orphan", "PROFILE ADDRESS [switches]", "add an embedded store without parent", 2, 2,
     AddOrphan},
    {L"remove", "PROFILE ADDRESS", "delete a store's service; its file stays", 2, 2, Remove},
    {L"mark", "PROFILE ADDRESS NUMBER|none", "set a store's corruption mark", 3, 3, Mark},
    {L"damage", "FILE checksum|truncated|header|count", "damage a store file", 2, 2, Damage},
    {L"repair", "FILE", "repair a store file", 1, 1, Repair},
    {L"compact", "FILE", "drop a store file's free space", 1, 1, Compact},
    {L"lock", "FILE SECONDS", "hold a store file open so that nobody else can", 2, 2, Lock},
    {L"file", "FILE SIZE", "make a file of SIZE bytes that takes no room", 2, 2, MakeFile},
    {L"companions", "FILE [SUFFIX...]", "write files beside a store file", 1, kAny, Companions},
    {L"accessed", "FILE TIME", "set the last access: \"2024-02-29 23:59:58\", in UTC", 2, 2,
     Accessed},
    {L"directory", "PATH|none", "where the lab keeps journal and fault plan", 1, 1, SetDirectory},
    {L"outlook", "VERSION|none", "which Outlook is installed: 14.0, 16.0", 1, 1, SetOutlook},
    {L"tool", "DIRECTORY", "install the repair tool there, where MAPI then is", 1, 1, PlaceTool},
    {L"desktop", "SECONDS", "keep the desktop in use, as somebody at work does", 1, 1, HoldDesktop},
    {L"controller", "STATE", "absent, stopped, running, paused, pending, broken, disabled", 1, 1,
     PutController},
    {L"database", "SERVER DATABASE", "make the configuration database anew", 2, 2, MakeDatabase},
    {L"server", "ID NAME|this [TYPE]", "add a server to it", 2, 3, AddBesServer},
    {L"user", "SERVER-ID ADDRESS [AGENT]", "add a user to it", 2, 3, AddBesUser},
    {L"users", "", "print the database's users", 0, 0, ShowBesUsers},
    {L"fault", "RULE...", "add a rule to the fault plan", 2, kAny, AddRule<FaultPlan>},
    {L"no-faults", "", "empty the fault plan", 0, 0, EmptyPlan<FaultPlan>},
    {L"compaction", "STORE RULE...", "add a rule to the compaction plan", 2, kAny,
     AddRule<CompactionPlan>},
    {L"plain-compaction", "", "empty the compaction plan", 0, 0, EmptyPlan<CompactionPlan>},
    {L"repair-plan", "[file TEXT] OPTION VALUE", "say how the repair tool behaves", 2, 4,
     AddRepairOption},
    {L"plain-repair-plan", "", "let it behave as it usually does", 0, 0, EmptyPlan<RepairPlan>},
    {L"dialogs", "", "print what dialogs were shown, and how each ended", 0, 0, ShowDialogs},
    {L"journal", "[TEXT]", "print the journal, or its lines that hold TEXT", 0, 1, ShowJournal},
    {L"no-journal", "", "delete the journal", 0, 0, NoJournal},
    {L"show", "[PROFILE]", "list the installation, or one profile", 0, 1, Show},
    {L"help", "", "print this", 0, 0, Help},
};

void Help(const Words&) {
  std::string text = "labctl makes and shows a simulated installation.\n\n";
  for (const Verb& verb : kVerbs) {
    std::string head = "  " + Utf8FromWide(verb.name) + " " + verb.arguments;
    head.resize(std::max<size_t>(head.size() + 1, 46), ' ');
    text += head + verb.help + "\n";
  }
  Print(text + "\nSwitches of an added store:\n" + DescribeStoreOptions());
}

void RunAction(const Verb& verb, Words words) {
  const auto* addStore = std::get_if<AddStore>(&verb.action);
  const StoreOptions options = addStore ? TakeStoreOptions(&words) : StoreOptions();
  if (words.size() < verb.least || words.size() > verb.most) throw NotUnderstood();
  if (addStore) {
    (*addStore)(words, options);
  } else {
    std::get<Run>(verb.action)(words);
  }
}

int Complain(const std::string& text, int code) {
  Write(STD_ERROR_HANDLE, text + "\n");
  return code;
}

// Runs the verb that `words` begins with, without words the help; returns the exit code.
int RunVerb(const Words& words) {
  const std::wstring name = words.empty() ? L"help" : words[0];
  const auto* verb = std::find_if(std::begin(kVerbs), std::end(kVerbs),
                                  [&](const Verb& each) { return name == each.name; });
  if (verb == std::end(kVerbs)) {
    return Complain("labctl: no such verb; \"labctl help\" lists them", 2);
  }
  try {
    RunAction(*verb, words.empty() ? words : Words(words.begin() + 1, words.end()));
    return 0;
  } catch (const NotUnderstood& error) {
    const std::string text = error.what();
    return Complain(text.empty() ? "usage: labctl " + Utf8FromWide(name) + " " + verb->arguments
                                 : "labctl: " + text,
                    2);
  } catch (const std::exception& error) {
    return Complain("labctl: " + std::string(error.what()), 1);
  }
}

}  // namespace
}  // namespace lab

int wmain(int argc, wchar_t** argv) { return lab::RunVerb({argv + 1, argv + argc}); }
