#include "src/program/program.h"

#include <string>

#include "src/commands/scan_qsf.h"
#include "src/console/console.h"
#include "src/console/user_break.h"
#include "src/program/dispatch.h"
#include "src/program/program_name.h"

namespace {

void InitializeUserBreakLock() {
  InitializeCriticalSection(&UserBreakLock);
  // Kept: no command has run yet, so VerboseOutput is still 0 and the line never shows.
  if (UserBreakLock.LockCount == 0 && VerboseOutput) {
    PrintLine(L"Failed to initialize critical section");
  }
}

void DeleteUserBreakLock() {
  // Kept: only a lock that somebody holds is deleted. In a normal run nobody does, and the lock
  // stays for the control handler, which may still run while the process ends.
  if (UserBreakLock.OwningThread) DeleteCriticalSection(&UserBreakLock);
}

int RunCommand(int argc, wchar_t** argv, const wchar_t* programName) {
  if (IsStandaloneScanName(programName)) return kScanQsf.handler(argc, argv, programName);
  return Dispatch(argc, argv, programName);
}

}  // namespace

int RunProgram(int argc, wchar_t** argv) {
  InitializeUserBreakLock();
  const std::wstring programName = ProgramShortName(argc > 0 ? argv[0] : L"");
  const int result = RunCommand(argc, argv, programName.c_str());
  DeleteUserBreakLock();
  if (VerboseOutput) PrintLine(L"Exiting.");
  return result;
}
