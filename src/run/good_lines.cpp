#include "src/run/good_lines.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr size_t kCutLength = 254;

constexpr unsigned Set(std::initializer_list<ToolCommand> commands) {
  unsigned set = 0;
  for (const ToolCommand command : commands) set |= 1U << static_cast<unsigned>(command);
  return set;
}

constexpr unsigned kCheck = Set({ToolCommand::kCheckQsf});
constexpr unsigned kScan = Set({ToolCommand::kScanQsf});
constexpr unsigned kCompact = Set({ToolCommand::kCompactQsf});
constexpr unsigned kPurge = Set({ToolCommand::kPurgeQsf});
constexpr unsigned kAgents = Set({ToolCommand::kListAgents});
constexpr unsigned kAssign = Set({ToolCommand::kAssignAgents});
constexpr unsigned kServers = Set({ToolCommand::kListServers});
constexpr unsigned kFind = Set({ToolCommand::kFindUsers});
constexpr unsigned kAll = Set({ToolCommand::kNone}) - 1;

struct CommandLines {
  unsigned commands;
  LineForm form;
};

// What "-v" adds is here as far as a run without it is good: it must not change the result. The one
// exception is a profile whose registry key does not open, which only "-v" tells of with "-m".
constexpr CommandLines kGoodLines[] = {
    {kAll, L"Exiting."},
    {kAll & ~(kAgents | kServers), L"The Control Handler is installed."},
    {kCheck | kScan | kCompact | kPurge | kAssign, L"Starting BlackBerry Controller Service."},
    {kCheck | kScan | kCompact | kPurge | kAssign,
     L"ServiceStartSvc. Service is already running, currentState=4)"},
    {kAgents | kAssign, L"Connection string=*"},
    {kPurge | kAgents | kServers | kFind, L" "},

    // None are checked when the profile has no stores, and when no address matches.
    {kCheck, L"CheckQsf: Checking + MAPI stores..."},
    {kCheck, L"Checking store for '*'"},
    {kCheck, L"All stores are OK"},
    {kCheck, L"Shutting down stores..."},
    {kCheck | kAssign, L"Done"},

    {kScan, L"scanning *"},
    {kScan, L"file scan done."},
    {kScan, L"No .qsf files have been marked as corrupt with [*] profile"},
    {kScan, L"Provider path: *"},
    {kScan, L"GetMapiModuleFullPath InitMAPIDir returned '*'"},
    {kScan, L"GetMapiModuleFullPath Testing module name '*'"},
    {kScan, L"GetMapiModuleFullPath Trying to find module using alternative method"},
    {kScan, L"GetMapiModuleFullPath Alternative method found module '*'"},
    {kScan, L"GetMapiModuleFullPath Alternative method have not found any module"},
    {kScan, L"%In hs."},
    {kScan, L"CheckRepairQsf. MAPI Module Full Path: *"},
    {kScan, L"CheckRepairQsf. Creating process"},
    {kScan, L"CheckRepairQsf. finding scanpst window handle"},
    {kScan, L"CheckRepairQsf. finding edit on window"},
    {kScan, L"CheckRepairQsf. writing [*] on edit"},
    {kScan, L"CheckRepairQsf. finding the start button"},
    {kScan, L"CheckRepairQsf. clicking the start button"},
    {kScan, L"CheckRepairQsf. waiting for results"},
    // Said of every question of the repair tool's.
    {kScan, L"CheckRepairQsf. User has canceled. Clicking Yes Button"},
    {kScan, L"CheckRepairQsf. found OK button. looking for edit control"},
    {kScan, L"CheckRepairQsf. found edit control. No errors found. clicking OK"},
    {kScan, L"CheckRepairQsf. found repair button. there are errors. clicking repair"},
    {kScan, L"CheckRepairQsf. waiting for repair to finish"},
    {kScan, L"CheckRepairQsf. looking for OK button"},
    {kScan, L"CheckRepairQsf. found OK button. done repairing. clicking OK"},
    {kScan, L"CheckRepairQsf. Looking for YES button"},
    {kScan,
     L"CheckRepairQsf. found YES button. this is the replace backup file dialog. clicking YES"},
    {kScan, L"CheckRepairQsf. quitting ScanPST"},
    {kScan, L"CheckRepairQsf. looking for ScanPST window"},
    {kScan, L"CheckRepairQsf. sending windows WM_CLOSE message"},
    {kScan, L"CheckRepairQsf. waiting for process to exit"},
    {kScan, L"CheckRepairQsf. releasing handles"},
    {kScan, L"Exiting CheckRepairQsf."},

    {kCompact, L"compacting *"},
    {kCompact, L"Compacting done"},

    {kPurge, L"Unused Qsf: '*'"},
    {kPurge, L"Size: # KB"},
    {kPurge, L"Last access time: #-#-# #:#:#"},
    {kPurge, L"Deleting: *"},
    {kPurge, L"No unused QSFs found"},

    {kAgents, L"AgentId: #"},
    {kAgents | kServers, L"Users: #"},
    {kServers, L"Id: #"},
    {kServers, L"MachineName: *"},

    {kAssign, L"Base Agentid=#"},
    {kAssign, L"Number of Agents=#"},
    {kAssign, L"AssignUsersToAgents: Creating # MAPI stores..."},
    {kAssign, L"Creating store for '*'"},
    {kAssign, kAssignedForm},

    {kFind, L"Email: *"},
    {kFind, L"Type: QSF store"},
    {kFind, L"QSF: *"},
    {kFind, L"Embedded stores: *"},
    {kFind, L"Type: Embedded store"},
    {kFind, L"Parent store: *"},
    {kFind, L"Parent QSF: *"},
};

constexpr WantedLine kWantedLines[] = {
    {ToolCommand::kCheckQsf, L"All stores are OK", {}},
    {ToolCommand::kCheckQsf, L"Done", {}},
    {ToolCommand::kScanQsf, L"file scan done.", L"scanning *"},
    {ToolCommand::kCompactQsf, L"Compacting done", L"compacting *"},
    {ToolCommand::kAssignAgents, L"Done", {}},
};

struct NotRunLine {
  std::wstring_view text;
  const wchar_t* reason;
};

constexpr const wchar_t* kHelpScreen = L"a help screen";

constexpr NotRunLine kNotRunLines[] = {
    {L"qrvadmin is used for administering a QRV installation.", kHelpScreen},
    {L"qrvadmin -checkQsf -p profileName [-e email1 email2 ...] [-v]", kHelpScreen},
    {L"qrvadmin -scanQsf [-p profile_name | -d profile_name] [-r] [-m] [-v]", kHelpScreen},
    {L"Error in switches - use as described below.", kHelpScreen},
    {L"qrvadmin -compactQsf -p profileName [-e email1 email2 ...] [-v]", kHelpScreen},
    {L"qrvadmin -purgeQsf [-f] [-v]", kHelpScreen},
    {L"qrvadmin -listAgents -s server [-v]", kHelpScreen},
    {L"qrvadmin -assignAgents -p profileName [-b baseAgentId] [-n numAgents] [-e] [-c] [-v]",
     kHelpScreen},
    {L"qrvadmin -listServers [-v]", kHelpScreen},
    {L"qrvadmin -findUsers -p profileName -e email1 email2 ... [-v]", kHelpScreen},
    {L"MAPI is in use. Please close the following applications and try again:", L"MAPI is in use"},
    {L"Failed to initialize MAPI. are you using the right 64/32 bitness?",
     L"MAPI cannot be initialized"},
};

constexpr const wchar_t* kCommandWords[] = {
    L"-checkQsf",   L"-scanQsf",      L"-compactQsf",  L"-purgeQsf",
    L"-listAgents", L"-assignAgents", L"-listServers", L"-findUsers",
};

// Takes a number from the front of `text`.
bool TakeNumber(std::wstring_view& text, bool aboveZero) {
  if (aboveZero && (text.starts_with(L'-') || text.starts_with(L'0'))) return false;
  if (text.starts_with(L'-')) text.remove_prefix(1);
  const size_t digits = std::min(text.find_first_not_of(L"0123456789"), text.size());
  text.remove_prefix(digits);
  return digits > 0;
}

bool HasNumberForm(std::wstring_view line, LineForm form) {
  for (const wchar_t character : form) {
    if (character == L'#' || character == L'+') {
      if (!TakeNumber(line, character == L'+')) return false;
    } else {
      if (!line.starts_with(character)) return false;
      line.remove_prefix(1);
    }
  }
  return line.empty();
}

}  // namespace

ToolCommand CommandOf(std::span<const std::wstring> arguments) {
  const auto* const word =
      std::find_if(std::begin(kCommandWords), std::end(kCommandWords), [&](const wchar_t* command) {
        return std::any_of(arguments.begin(), arguments.end(), [&](const std::wstring& argument) {
          return _wcsicmp(argument.c_str(), command) == 0;
        });
      });
  return static_cast<ToolCommand>(word - std::begin(kCommandWords));
}

bool HasForm(std::wstring_view line, LineForm form) {
  const size_t star = form.find(L'*');
  if (star == form.npos) return HasNumberForm(line, form);
  const LineForm beginning = form.substr(0, star);
  const LineForm end = form.substr(star + 1);
  if (!line.starts_with(beginning)) return false;
  return line.size() == kCutLength || line.substr(star).ends_with(end);
}

bool IsGoodLine(ToolCommand command, std::wstring_view line) {
  return std::any_of(std::begin(kGoodLines), std::end(kGoodLines), [&](const CommandLines& good) {
    return (good.commands & Set({command})) != 0 && HasForm(line, good.form);
  });
}

std::vector<LineForm> GoodForms(ToolCommand command) {
  std::vector<LineForm> forms;
  for (const CommandLines& good : kGoodLines) {
    if ((good.commands & Set({command})) != 0) forms.push_back(good.form);
  }
  return forms;
}

std::span<const WantedLine> WantedLines() { return kWantedLines; }

const wchar_t* ReasonNotRun(std::wstring_view line) {
  for (const NotRunLine& candidate : kNotRunLines) {
    if (candidate.text == line) return candidate.reason;
  }
  return nullptr;
}

std::vector<std::wstring_view> NotRunLines() {
  std::vector<std::wstring_view> lines;
  for (const NotRunLine& line : kNotRunLines) lines.push_back(line.text);
  return lines;
}
