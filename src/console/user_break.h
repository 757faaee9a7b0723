// The state that the whole process shares: the Ctrl+C flag with its lock, and the verbose flag.
#pragma once

#include <windows.h>

#include <cstdint>

#include "src/platform/lock.h"

// Guards UserBreak. Initialised by RunProgram before anything else runs.
extern platform::CriticalSection UserBreakLock;

// 0 until Ctrl+C is pressed, then 1 for good. Long loops stop at their next look at it.
extern std::uint32_t UserBreak QRV_GUARDED_BY(UserBreakLock);

// 0, or 1 when the command was given "-v". Written by the command's switch scan on the main thread
// before any other thread starts, read everywhere.
extern std::uint32_t VerboseOutput;

// Reads UserBreak under its lock. Any thread.
bool UserBreakRequested();

// Adds ConsoleCtrlHandler to the process's control handlers and, when that succeeds in verbose
// mode, says so. The handler is never removed; added more than once it still acts once a Ctrl+C.
void InstallConsoleCtrlHandler();

// The control handler itself, called by the system on a thread of its own: notes a Ctrl+C in
// UserBreak and lets the process go on (TRUE); leaves every other event to the next handler
// (FALSE).
BOOL WINAPI ConsoleCtrlHandler(DWORD ctrlType);
