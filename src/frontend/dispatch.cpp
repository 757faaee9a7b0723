#include "src/frontend/dispatch.h"

#include <array>
#include <cwchar>

#include "src/commands/assign_agents.h"
#include "src/commands/check_qsf.h"
#include "src/commands/compact_qsf.h"
#include "src/commands/find_users.h"
#include "src/commands/list_agents.h"
#include "src/commands/list_servers.h"
#include "src/commands/purge_qsf.h"
#include "src/frontend/usage.h"
#include "src/scan/scan_command.h"

namespace {

using CommandHandler = int (*)(int argc, wchar_t** argv, const wchar_t* programName);
using UsagePrinter = void (*)(const wchar_t* programName);

struct Command {
  const wchar_t* word;
  CommandHandler handler;
  UsagePrinter printUsage;
};

// The handlers with parameters or a result of another kind.

int ListAgentsCommand(int argc, wchar_t** argv, const wchar_t* programName) {
  return qrvAdminListAgents(argc, argv, programName);
}

int ListServersCommand(int argc, wchar_t** argv, const wchar_t*) {
  return qrvAdminListServers(argc, argv);
}

int PurgeQsfCommand(int argc, wchar_t** argv, const wchar_t*) {
  return qrvAdminPurgeQsf(argc, argv);
}

// In order of priority: of several commands on one line the first of the table runs.
constexpr std::array<Command, 8> kCommands = {{
    {L"-checkQsf", qrvAdminCheckQsf, PrintCheckQsfUsage},
    {L"-scanQsf", ScanQsfCommand, PrintScanQsfUsage},
    {L"-compactQsf", qrvAdminCompactQsf, PrintCompactQsfUsage},
    {L"-purgeQsf", PurgeQsfCommand, PrintPurgeQsfUsage},
    {L"-listAgents", ListAgentsCommand, PrintListAgentsUsage},
    {L"-assignAgents", qrvAdminAssignAgents, PrintAssignAgentsUsage},
    {L"-listServers", ListServersCommand, PrintListServersUsage},
    {L"-findUsers", qrvAdminFindUsers, PrintFindUsersUsage},
}};

struct Selection {
  bool help = false;
  std::array<bool, kCommands.size()> commands = {};
};

void SelectCommand(const wchar_t* argument, Selection& selection) {
  for (size_t i = 0; i < kCommands.size(); ++i) {
    if (_wcsicmp(argument, kCommands[i].word) == 0) {
      selection.commands[i] = true;
      return;
    }
  }
}

Selection SelectFromArguments(int argc, wchar_t** argv) {
  Selection selection;
  for (int i = 1; i < argc; ++i) {
    if (wcscmp(argv[i], L"-h") == 0) {
      selection.help = true;
    } else {
      SelectCommand(argv[i], selection);
    }
  }
  return selection;
}

// The selected command that the table names first, or null.
const Command* FirstSelected(const Selection& selection) {
  for (size_t i = 0; i < kCommands.size(); ++i) {
    if (selection.commands[i]) return &kCommands[i];
  }
  return nullptr;
}

}  // namespace

int Dispatch(int argc, wchar_t** argv, const wchar_t* programName) {
  const Selection selection = SelectFromArguments(argc, argv);
  const Command* const command = FirstSelected(selection);
  if (!command) {
    PrintGeneralUsage(programName);
  } else if (selection.help) {
    command->printUsage(programName);
  } else {
    command->handler(argc, argv, programName);
  }
  return 0;
}
