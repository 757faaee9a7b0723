#include "src/run/ctrl_c.h"

namespace {

// A control handler is given nothing but the event's number.
HANDLE ctrlC = nullptr;

BOOL WINAPI NoteCtrlC(DWORD event) {
  if (event != CTRL_C_EVENT) return FALSE;
  SetEvent(ctrlC);
  return TRUE;
}

// A process that has just begun is not on its console yet.
bool GoToConsoleOf(HANDLE process, DWORD processId) {
  constexpr int kTries = 100;
  constexpr DWORD kBetweenTriesMilliseconds = 50;
  for (int i = 0; i < kTries; ++i) {
    if (AttachConsole(processId)) return true;
    if (WaitForSingleObject(process, kBetweenTriesMilliseconds) != WAIT_TIMEOUT) return false;
  }
  return false;
}

void RaiseCtrlC() {
  constexpr DWORD kDeliveryMilliseconds = 1000;
  // Each change of the console has put the handlers back to the system's own.
  SetConsoleCtrlHandler(NoteCtrlC, TRUE);
  ResetEvent(ctrlC);
  if (!GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0)) return;
  // It comes to this process too, and would end it if it came when the handler is gone.
  WaitForSingleObject(ctrlC, kDeliveryMilliseconds);
}

}  // namespace

HANDLE CatchCtrlC() {
  // Never closed: the handler may be called to the process's end.
  ctrlC = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  SetConsoleCtrlHandler(nullptr, FALSE);
  SetConsoleCtrlHandler(NoteCtrlC, TRUE);
  return ctrlC;
}

void SendCtrlC(HANDLE process, DWORD processId, Screen& screen) {
  screen.Leave([&] {
    if (GoToConsoleOf(process, processId)) RaiseCtrlC();
  });
  SetConsoleCtrlHandler(NoteCtrlC, TRUE);
}
