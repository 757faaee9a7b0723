#include "src/program/dispatch.h"

#include <array>
#include <cwchar>

#include "src/commands/command.h"
#include "src/program/general_help.h"

// The commands, in order of priority: of several on one line the first of the list runs. The
// general help screen has them in the same order.
#define QRV_COMMANDS(ROW) \
  ROW(kCheckQsf)          \
  ROW(kScanQsf)           \
  ROW(kCompactQsf)        \
  ROW(kPurgeQsf)          \
  ROW(kListAgents)        \
  ROW(kAssignAgents)      \
  ROW(kListServers)       \
  ROW(kFindUsers)

#define QRV_DECLARE(command) extern const Command command;
QRV_COMMANDS(QRV_DECLARE)

namespace {

#define QRV_POINTER(command) &(command),
constexpr std::array kCommands = {QRV_COMMANDS(QRV_POINTER)};

struct Selection {
  bool help = false;
  std::array<bool, kCommands.size()> commands = {};
};

void SelectCommand(const wchar_t* argument, Selection& selection) {
  for (size_t i = 0; i < kCommands.size(); ++i) {
    if (_wcsicmp(argument, kCommands[i]->word) == 0) {
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

// The selected command that the list names first, or null.
const Command* FirstSelected(const Selection& selection) {
  for (size_t i = 0; i < kCommands.size(); ++i) {
    if (selection.commands[i]) return kCommands[i];
  }
  return nullptr;
}

}  // namespace

int Dispatch(int argc, wchar_t** argv, const wchar_t* programName) {
  const Selection selection = SelectFromArguments(argc, argv);
  const Command* const command = FirstSelected(selection);
  if (!command) {
    PrintGeneralUsage(programName, kCommands);
  } else if (selection.help) {
    command->printUsage(programName);
  } else {
    command->handler(argc, argv, programName);
  }
  return 0;
}
