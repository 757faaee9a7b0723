#include "src/frontend/user_break.h"

#include "src/frontend/console.h"

platform::CriticalSection UserBreakLock;
std::uint32_t UserBreak = 0;
std::uint32_t VerboseOutput = 0;

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
  PrintLine(L"*User Break");
  const platform::CriticalSectionGuard guard(UserBreakLock);
  UserBreak = 1;
  return TRUE;
}
