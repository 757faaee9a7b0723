// Ctrl+C: the user's, and that which is sent to the tool.
#pragma once

#include <windows.h>

#include "src/run/screen.h"

// From now on the process survives Ctrl+C, and programs that it starts can be sent one, even if
// whoever started it has switched Ctrl+C off. Returns an event, the process's own, that is set when
// the user presses Ctrl+C and that ends one wait. Null, with the last error, on failure. To be
// called once.
HANDLE CatchCtrlC();

// Sends Ctrl+C to the programs on the console of `processId`, a process that was given one of its
// own and that may just have begun; to nobody else. Gives up when `process` has ended. From one
// thread only; nobody waits for the event of CatchCtrlC meanwhile, and a Ctrl+C of the user's is
// lost.
void SendCtrlC(HANDLE process, DWORD processId, Screen& screen);
