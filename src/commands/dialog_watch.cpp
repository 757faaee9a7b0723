#include "src/commands/dialog_watch.h"

#include <cwchar>
#include <string>
#include <vector>

namespace {

struct DialogWindow {
  HWND window;
  std::wstring title;
};

constexpr int kTextSize = 2048;

// The window class of dialogs, by the atom that the system gives it.
constexpr ATOM kDialogClassAtom = 32770;

bool IsDialog(HWND window) {
  wchar_t dialogClass[kTextSize] = {};
  wchar_t windowClass[kTextSize] = {};
  GetAtomNameW(kDialogClassAtom, dialogClass, kTextSize);
  GetClassNameW(window, windowClass, kTextSize);
  return _wcsicmp(windowClass, dialogClass) == 0;
}

BOOL CALLBACK CollectDialog(HWND window, LPARAM parameter) {
  auto* const dialogs = reinterpret_cast<std::vector<DialogWindow>*>(parameter);
  if (!dialogs) return FALSE;
  if (IsDialog(window)) {
    wchar_t title[kTextSize] = {};
    GetWindowTextW(window, title, kTextSize);
    dialogs->push_back({window, title});
  }
  return TRUE;
}

// The dialogs among the thread's top-level windows.
std::vector<DialogWindow> DialogsOfThread(DWORD threadId) {
  std::vector<DialogWindow> dialogs;
  EnumThreadWindows(threadId, CollectDialog, reinterpret_cast<LPARAM>(&dialogs));
  return dialogs;
}

}  // namespace

void CloseStrayDialog(DWORD threadId) {
  const std::vector<DialogWindow> dialogs = DialogsOfThread(threadId);
  if (dialogs.size() != 1) return;
  if (_wcsicmp(dialogs.front().title.c_str(), L"Compact Now") == 0) return;
  PostMessageW(dialogs.front().window, WM_CLOSE, 0, 0);
}
