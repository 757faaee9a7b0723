// Keeps the dialogs of a thread from waiting for an answer that nobody gives.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

struct DialogWindow {
  HWND window;
  std::wstring title;
};

// The dialogs among the top-level windows of a thread of this process, hidden ones too.
std::vector<DialogWindow> DialogsOfThread(DWORD threadId);

// Asks the thread's dialog to close, unless it is the one titled "Compact Now" (any letter case).
// With no dialog, or with several at once, nothing is done.
void CloseStrayDialog(DWORD threadId);
