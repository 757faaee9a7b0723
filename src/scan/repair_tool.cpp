#include "src/scan/repair_tool.h"

#include <windows.h>

#include <array>
#include <string>

#include "src/console/console.h"
#include "src/console/user_break.h"
#include "src/platform/handle.h"
#include "src/scan/mapi_module.h"

namespace {

constexpr const char* kFunction = "CheckRepairQsf";
constexpr DWORD kPollMilliseconds = 1000;

// The tool beside the provider module; empty when the module's directory is not known.
std::wstring RepairToolPath() {
  const std::wstring modulePath = GetMapiModuleFullPath();
  if (VerboseOutput) PrintLine(L"%hs. MAPI Module Full Path: %s", kFunction, modulePath.c_str());
  const size_t backslash = modulePath.rfind(L'\\');
  if (backslash == std::wstring::npos) return {};
  return modulePath.substr(0, backslash) + L"\\SCANPST.EXE";
}

// Presses a button as a mouse would. Does not wait for the tool.
void Click(HWND button) {
  PostMessageW(button, WM_LBUTTONDOWN, MK_LBUTTON, 0);
  PostMessageW(button, WM_LBUTTONUP, 0, 0);
}

// The search for the first top-level window of a process.
struct WindowSearch {
  DWORD processId = 0;
  HWND window = nullptr;  // Stays as it is when there is none.
};

BOOL CALLBACK FindWindowOfProcess(HWND window, LPARAM parameter) {
  auto& search = *reinterpret_cast<WindowSearch*>(parameter);
  DWORD processId = 0;
  GetWindowThreadProcessId(window, &processId);
  if (processId != search.processId) return TRUE;
  search.window = window;
  return FALSE;
}

// One run of the tool. The functions are called in the order in which they stand.
class RepairTool {
 public:
  enum class ScanEnd { kFinished, kErrorsFound };

  // False, with a line, when the tool does not start or shows no window.
  bool Start(const std::wstring& toolPath);
  void StartScan(const std::wstring& storePath);
  ScanEnd WaitForScan();
  // After a scan that finished, and after one that found errors. Both return CheckRepairQsf's
  // result.
  int TakeResult();
  int Repair();
  // Closes the tool's windows and waits for it to end.
  void Quit();
  void Release();

 private:
  // Makes the process's first top-level window the current one; a dialog of the tool is usually
  // ahead of its main window.
  void FindToolWindow();
  HWND FindChild(const wchar_t* className, const wchar_t* text = nullptr,
                 HWND after = nullptr) const;
  HWND FindButton(const wchar_t* text) const { return FindChild(L"Button", text); }
  void CancelScan();
  void PrintToolError() const;

  platform::KernelHandle process_;
  platform::KernelHandle thread_;
  WindowSearch search_;
  bool cancelPressed_ = false;
};

bool RepairTool::Start(const std::wstring& toolPath) {
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION created = {};
  // Kept: the path alone and unquoted, the command line as it is known; the manual warns. In a
  // string of its own, since the call may write into it.
  std::wstring commandLine = toolPath;
  if (VerboseOutput) PrintLine(L"%hs. Creating process", kFunction);
  if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, DETACHED_PROCESS,
                      nullptr, nullptr, &startup, &created)) {
    PrintLine(L"%hs. Process failed to create.exiting", kFunction);
    return false;
  }
  process_ = platform::KernelHandle(created.hProcess);
  thread_ = platform::KernelHandle(created.hThread);
  search_.processId = created.dwProcessId;
  WaitForInputIdle(process_.Get(), INFINITE);

  if (VerboseOutput) PrintLine(L"%hs. finding scanpst window handle", kFunction);
  FindToolWindow();
  if (!search_.window) {
    PrintLine(L"%hs. ScanPST was not loaded or terminated. another ScanPST running?", kFunction);
  }
  return search_.window != nullptr;
}

void RepairTool::StartScan(const std::wstring& storePath) {
  if (VerboseOutput) PrintLine(L"%hs. finding edit on window", kFunction);
  const HWND edit = FindChild(L"Edit");
  if (VerboseOutput) PrintLine(L"%hs. writing [%s] on edit", kFunction, storePath.c_str());
  SendMessageW(edit, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(storePath.c_str()));
  if (VerboseOutput) PrintLine(L"%hs. finding the start button", kFunction);
  const HWND start = FindButton(L"&Start");
  if (VerboseOutput) PrintLine(L"%hs. clicking the start button", kFunction);
  Click(start);
}

RepairTool::ScanEnd RepairTool::WaitForScan() {
  if (VerboseOutput) PrintLine(L"%hs. waiting for results", kFunction);
  for (;; Sleep(kPollMilliseconds)) {
    if (UserBreakRequested() && !cancelPressed_) CancelScan();
    FindToolWindow();
    if (const HWND yes = FindButton(L"&Yes")) {
      // The tool asks to confirm a cancel here, and other things without one.
      if (VerboseOutput) PrintLine(L"%hs. User has canceled. Clicking Yes Button", kFunction);
      Click(yes);
    }
    if (FindButton(L"OK")) {
      if (VerboseOutput) PrintLine(L"%hs. found OK button. looking for edit control", kFunction);
      return ScanEnd::kFinished;
    }
    if (FindButton(L"&Repair")) {
      if (VerboseOutput) {
        PrintLine(L"%hs. found repair button. there are errors. clicking repair", kFunction);
      }
      return ScanEnd::kErrorsFound;
    }
  }
}

void RepairTool::CancelScan() {
  if (VerboseOutput) PrintLine(L"%hs. finding the cancel button", kFunction);
  const HWND cancel = FindButton(L"Cancel");
  if (VerboseOutput) PrintLine(L"%hs. clicking the cancel button", kFunction);
  if (cancel) Click(cancel);
  cancelPressed_ = true;
}

int RepairTool::TakeResult() {
  const bool sound = FindChild(L"Edit") != nullptr;
  if (sound) {
    if (VerboseOutput) {
      PrintLine(L"%hs. found edit control. No errors found. clicking OK", kFunction);
    }
  } else {
    if (VerboseOutput) {
      PrintLine(L"%hs. did not find edit control. there was an error. clicking OK", kFunction);
    }
    PrintToolError();
  }
  Click(FindButton(L"OK"));
  return sound ? 1 : 0;
}

void RepairTool::PrintToolError() const {
  // A message box shows its icon in a "Static" child too, made before the one with the text.
  const HWND first = FindChild(L"Static");
  const HWND second = first ? FindChild(L"Static", nullptr, first) : nullptr;
  if (!second) return;
  std::array<wchar_t, 2048> text = {};
  SendMessageW(second, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()));
  PrintLine(L"%hs. ScanPST Error: %s", kFunction, text.data());
}

int RepairTool::Repair() {
  Click(FindButton(L"&Repair"));
  if (VerboseOutput) PrintLine(L"%hs. waiting for repair to finish", kFunction);
  for (;; Sleep(kPollMilliseconds)) {
    if (UserBreakRequested()) return 0;
    FindToolWindow();
    if (VerboseOutput) PrintLine(L"%hs. looking for OK button", kFunction);
    if (const HWND ok = FindButton(L"OK")) {
      if (VerboseOutput) {
        PrintLine(L"%hs. found OK button. done repairing. clicking OK", kFunction);
      }
      Click(ok);
      return 1;
    }
    if (VerboseOutput) PrintLine(L"%hs. Looking for YES button", kFunction);
    if (const HWND yes = FindButton(L"&Yes")) {
      if (VerboseOutput) {
        PrintLine(L"%hs. found YES button. this is the replace backup file dialog. clicking YES",
                  kFunction);
      }
      Click(yes);
    }
  }
}

void RepairTool::Quit() {
  if (VerboseOutput) PrintLine(L"%hs. quitting ScanPST", kFunction);
  // Every top-level window, one a round; the last round finds none and closes nothing.
  while (search_.window) {
    search_.window = nullptr;
    if (VerboseOutput) PrintLine(L"%hs. looking for ScanPST window", kFunction);
    FindToolWindow();
    if (VerboseOutput) PrintLine(L"%hs. sending windows WM_CLOSE message", kFunction);
    SendMessageW(search_.window, WM_CLOSE, 0, 0);
  }
  if (VerboseOutput) PrintLine(L"%hs. waiting for process to exit", kFunction);
  WaitForSingleObject(process_.Get(), INFINITE);
}

void RepairTool::Release() {
  if (VerboseOutput) PrintLine(L"%hs. releasing handles", kFunction);
  process_ = {};
  thread_ = {};
  if (VerboseOutput) PrintLine(L"Exiting %hs.", kFunction);
}

void RepairTool::FindToolWindow() {
  EnumWindows(FindWindowOfProcess, reinterpret_cast<LPARAM>(&search_));
}

HWND RepairTool::FindChild(const wchar_t* className, const wchar_t* text, HWND after) const {
  return FindWindowExW(search_.window, after, className, text);
}

}  // namespace

int CheckRepairQsf(const std::wstring& path) {
  // Kept: meant as the function's name after "In", it is a size prefix and a conversion that stores
  // through its argument, which the compiler's check would refuse. The line shows the format
  // itself.
  if (VerboseOutput) PrintLine(UncheckedFormat{L"%In hs."}, kFunction);
  const std::wstring toolPath = RepairToolPath();
  if (toolPath.empty()) return 0;

  RepairTool tool;
  int result = 0;
  if (tool.Start(toolPath)) {
    tool.StartScan(path);
    result =
        tool.WaitForScan() == RepairTool::ScanEnd::kFinished ? tool.TakeResult() : tool.Repair();
    tool.Quit();
  }
  tool.Release();
  return result;
}
