#include "lab/labctl/verbs.h"

#include <windows.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <exception>
#include <optional>
#include <variant>

#include "lab/common/dialog_record.h"
#include "lab/common/files.h"
#include "lab/common/installation.h"
#include "lab/common/journal.h"
#include "lab/common/lab_config.h"
#include "lab/labctl/outcome.h"
#include "lab/labctl/output.h"
#include "lab/labctl/plans.h"
#include "lab/labctl/store_options.h"
#include "lab/labctl/surroundings.h"

namespace lab {
namespace {

// Returns one of labctl's exit codes.
using Run = int (*)(const Words& words);
// The same, for a verb that adds a store and takes the switches of one.
using AddStore = int (*)(const Words& words, const StoreOptions& options);

struct Verb {
  const wchar_t* name;
  const char* arguments;
  const char* help;
  size_t least;  // how many words must follow
  size_t most;   // ... and may
  std::variant<Run, AddStore> action;
};

int QsfOutcome(QsfStatus status) {
  return Outcome(status == QsfStatus::kOk, QsfStatusText(status));
}

int MakeProfile(const Words& words) {
  return Outcome(Profile(words[0]).Create(), "the registry refuses the profile");
}

int DropProfile(const Words& words) {
  return Outcome(Profile(words[0]).Delete(), "the registry refuses to delete the profile");
}

int AddRoot(const Words& words, const StoreOptions& options) {
  Profile(words[0]).AddRootStore(words[1], words[2], options);
  return kDone;
}

int AddSecondary(const Words& words, const StoreOptions& options) {
  Profile(words[0]).AddSecondaryStore(words[1], words[2], options);
  return kDone;
}

int AddEmbedded(const Words& words, const StoreOptions& options) {
  const auto parent = Profile(words[0]).Find(words[2]);
  if (!parent) return Outcome(false, "the profile has no such parent");
  Profile(words[0]).AddEmbeddedStore(words[1], *parent, options);
  return kDone;
}

int AddOrphan(const Words& words, const StoreOptions& options) {
  Profile(words[0]).AddOrphan(words[1], options);
  return kDone;
}

int Remove(const Words& words) {
  const auto service = Profile(words[0]).Find(words[1]);
  return Outcome(service && Profile(words[0]).Remove(service->uid),
                 "the profile has no such store");
}

int Mark(const Words& words) {
  const auto service = Profile(words[0]).Find(words[1]);
  const auto mark = ParseNumber(Utf8FromWide(words[2]));
  if (!mark && words[2] != L"none") return kNotUnderstood;
  return Outcome(service && Profile(words[0]).Mark(service->uid, mark),
                 "the profile has no such store");
}

int Damage(const Words& words) {
  const auto damage = QsfDamageFromText(Utf8FromWide(words[1]));
  if (!damage) return kNotUnderstood;
  return Outcome(DamageQsf(words[0], *damage), "the file cannot be read or written");
}

int Repair(const Words& words) { return QsfOutcome(RepairQsf(words[0])); }

int Compact(const Words& words) { return QsfOutcome(CompactQsf(words[0], nullptr)); }

int Lock(const Words& words) {
  const auto seconds = ParseNumber(Utf8FromWide(words[1]));
  if (!seconds) return kNotUnderstood;
  QsfLock lock(words[0]);
  if (!lock.Held()) return Outcome(false, "the file is missing or in use");
  Print("locked\n");
  Sleep(*seconds * 1000);
  return kDone;
}

int SetDirectory(const Words& words) {
  const bool none = words[0] == L"none";
  return Outcome(SetLabDirectory(none ? L"" : words[0]), "the registry refuses");
}

int SetOutlook(const Words& words) {
  if (words[0] == L"none") {
    return Outcome(WriteOutlookVersion(std::nullopt), "the registry refuses");
  }
  OutlookVersion version{0, 0};
  if (std::sscanf(Utf8FromWide(words[0]).c_str(), "%u.%u", &version.major, &version.minor) < 1) {
    return kNotUnderstood;
  }
  return Outcome(WriteOutlookVersion(version), "the registry refuses");
}

int MakeFile(const Words& words) {
  uint64_t size = 0;
  const std::string text = Utf8FromWide(words[1]);
  const auto read = std::from_chars(text.data(), text.data() + text.size(), size);
  if (read.ec != std::errc() || read.ptr != text.data() + text.size()) return kNotUnderstood;
  return Outcome(WriteFileOfSize(words[0], size), "the file cannot be written");
}

int Companions(const Words& words) {
  const std::vector<std::wstring> written =
      words.size() == 1 ? WriteCompanions(words[0])
                        : WriteCompanions(words[0], {words.begin() + 1, words.end()});
  for (const std::wstring& path : written) Print(Utf8FromWide(path) + "\n");
  return Outcome(!written.empty(), "the files cannot be written");
}

int Accessed(const Words& words) {
  const auto time = ParseUtcTime(Utf8FromWide(words[1]));
  if (!time) return kNotUnderstood;
  return Outcome(SetLastAccess(words[0], *time), "the file's times cannot be set");
}

int ShowJournal(const Words& words) {
  for (const JournalEntry& entry : ReadJournal(JournalPath())) {
    const std::string line = FormatJournalLine(entry);
    if (words.empty() || line.find(Utf8FromWide(words[0])) != std::string::npos) {
      Print(line + "\n");
    }
  }
  return kDone;
}

int ShowDialogs(const Words&) {
  for (const DialogRecord& record : Dialogs(ReadJournal(JournalPath()))) {
    Print(DescribeDialog(record) + "\n");
  }
  return kDone;
}

int NoJournal(const Words&) {
  return Outcome(DeleteFileW(JournalPath().c_str()) || GetLastError() == ERROR_FILE_NOT_FOUND,
                 "the journal cannot be deleted");
}

int Show(const Words& words) {
  Print(words.empty() ? DescribeInstallation() : Profile(words[0]).Describe());
  return kDone;
}

int Help(const Words& words);

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
    {L"fault", "RULE...", "add a rule to the fault plan", 2, kAny, AddFault},
    {L"no-faults", "", "empty the fault plan", 0, 0, EmptyFaults},
    {L"compaction", "STORE RULE...", "add a rule to the compaction plan", 2, kAny,
     AddCompactionRule},
    {L"plain-compaction", "", "empty the compaction plan", 0, 0, EmptyCompaction},
    {L"repair-plan", "[file TEXT] OPTION VALUE", "say how the repair tool behaves", 2, 4,
     AddRepairOption},
    {L"plain-repair-plan", "", "let it behave as it usually does", 0, 0, EmptyRepair},
    {L"dialogs", "", "print what dialogs were shown, and how each ended", 0, 0, ShowDialogs},
    {L"journal", "[TEXT]", "print the journal, or its lines that hold TEXT", 0, 1, ShowJournal},
    {L"no-journal", "", "delete the journal", 0, 0, NoJournal},
    {L"show", "[PROFILE]", "list the installation, or one profile", 0, 1, Show},
    {L"help", "", "print this", 0, 0, Help},
};

int Help(const Words&) {
  std::string text = "labctl makes and shows a simulated installation.\n\n";
  for (const Verb& verb : kVerbs) {
    std::string head = "  " + Utf8FromWide(verb.name) + " " + verb.arguments;
    head.resize(std::max<size_t>(head.size() + 1, 46), ' ');
    text += head + verb.help + "\n";
  }
  Print(text + "\nSwitches of an added store:\n" + DescribeStoreOptions());
  return kDone;
}

const Verb* FindVerb(const std::wstring& name) {
  const auto found = std::find_if(std::begin(kVerbs), std::end(kVerbs),
                                  [&](const Verb& verb) { return name == verb.name; });
  return found == std::end(kVerbs) ? nullptr : &*found;
}

int RunAction(const Verb& verb, const Words& words, const StoreOptions& options) {
  if (words.size() < verb.least || words.size() > verb.most) return kNotUnderstood;
  try {
    if (const auto* run = std::get_if<Run>(&verb.action)) return (*run)(words);
    return std::get<AddStore>(verb.action)(words, options);
  } catch (const std::exception& error) {
    return Outcome(false, error.what());
  }
}

}  // namespace

int RunVerb(Words words) {
  if (words.empty()) return Help(words);
  const Verb* verb = FindVerb(words[0]);
  if (verb == nullptr) {
    PrintError("labctl: no such verb; \"labctl help\" lists them\n");
    return kNotUnderstood;
  }
  words.erase(words.begin());
  StoreOptions options;
  std::string error;
  if (std::holds_alternative<AddStore>(verb->action) &&
      !TakeStoreOptions(&words, &options, &error)) {
    PrintError("labctl: " + error + " is no switch, or its value is wrong\n");
    return kNotUnderstood;
  }
  const int code = RunAction(*verb, words, options);
  if (code == kNotUnderstood) {
    PrintError("usage: labctl " + Utf8FromWide(verb->name) + " " + verb->arguments + "\n");
  }
  return code;
}

}  // namespace lab
