// Keeps the dialogs of a thread from waiting for an answer that nobody gives.
#pragma once

#include <windows.h>

// Asks the dialog of a thread of this process to close, unless it is the one titled "Compact Now"
// (any letter case). With no dialog, or with several at once, nothing is done. Hidden dialogs
// count. Does not wait for the dialog. Any thread.
void CloseStrayDialog(DWORD threadId);
