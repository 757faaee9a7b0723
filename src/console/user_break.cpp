#include "src/console/user_break.h"

#include "src/console/console.h"

platform::CriticalSection UserBreakLock;
std::uint32_t UserBreak = 0;
std::uint32_t VerboseOutput = 0;

namespace {

// Without memory for the line it goes unsaid.
void ShowUserBreak() {
  try {
    PrintLine(L"*User Break");
  } catch (...) {
    // The system, which is the caller, takes no exceptions.
  }
}

}  // namespace

bool UserBreakRequested() {
  const platform::CriticalSectionGuard guard(UserBreakLock);
  return UserBreak != 0;
}

void InstallConsoleCtrlHandler() {
  if (SetConsoleCtrlHandler(ConsoleCtrlHandler, TRUE) && VerboseOutput) {
    PrintLine(L"The Control Handler is installed.");
  }
}

BOOL WINAPI ConsoleCtrlHandler(DWORD ctrlType) {
  if (ctrlType != CTRL_C_EVENT) return FALSE;
  ShowUserBreak();
  const platform::CriticalSectionGuard guard(UserBreakLock);
  UserBreak = 1;
  return TRUE;
}
