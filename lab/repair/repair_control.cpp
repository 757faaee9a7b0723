#include "lab/repair/repair_control.h"

#include <tlhelp32.h>

#include <memory>
#include <type_traits>

#include "lab/common/text.h"

namespace lab {

const wchar_t kRepairTool[] = L"SCANPST.EXE";
const wchar_t kMapiProvider[] = L"mspst32.dll";

namespace {

constexpr DWORD kEndMilliseconds = 5000;
constexpr char kButtonClick[] = "SCANPST::BM_CLICK";
constexpr char kMouseDown[] = "SCANPST::WM_LBUTTONDOWN";
constexpr char kMouseUp[] = "SCANPST::WM_LBUTTONUP";

struct HandleCloser {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<std::remove_pointer_t<HANDLE>, HandleCloser>;

bool HasParameters(const JournalEntry& message, std::string_view wParam) {
  return message.Argument("wParam") == wParam && message.Argument("lParam") == "0x0" &&
         message.Argument("how") == "posted" && message.Argument("class") == "Button";
}

// Whether the message at `at` and the mouse message behind it are one click.
bool IsClick(const std::vector<JournalEntry>& messages, size_t at) {
  if (at + 1 >= messages.size()) return false;
  const JournalEntry& down = messages[at];
  const JournalEntry& up = messages[at + 1];
  return down.call == kMouseDown && up.call == kMouseUp && HasParameters(down, "0x1") &&
         HasParameters(up, "0x0") && down.object == up.object &&
         down.Argument("control") == up.Argument("control");
}

std::vector<JournalEntry> MouseMessages(const std::vector<JournalEntry>& journal) {
  std::vector<JournalEntry> messages;
  for (const JournalEntry& message : RepairMessages(journal)) {
    const bool text =
        message.call == "SCANPST::WM_SETTEXT" || message.call == "SCANPST::WM_GETTEXT";
    if (!text && message.call != "SCANPST::WM_CLOSE") messages.push_back(message);
  }
  return messages;
}

bool EndProcess(DWORD id) {
  const Handle process(OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, id));
  return process && TerminateProcess(process.get(), 0) &&
         WaitForSingleObject(process.get(), kEndMilliseconds) == WAIT_OBJECT_0;
}

}  // namespace

bool PlaceRepairTool(const std::wstring& directory, const std::wstring& program) {
  CreateDirectoryW(directory.c_str(), nullptr);
  const std::wstring copy = directory + L'\\' + kRepairTool;
  return CopyFileW(program.c_str(), copy.c_str(), FALSE) && PlaceMapiProvider(directory);
}

bool PlaceMapiProvider(const std::wstring& directory) {
  CreateDirectoryW(directory.c_str(), nullptr);
  return WriteWholeFile(directory + L'\\' + kMapiProvider, {});
}

bool RemoveMapiProvider(const std::wstring& directory) {
  return DeleteFileW((directory + L'\\' + kMapiProvider).c_str()) ||
         GetLastError() == ERROR_FILE_NOT_FOUND || GetLastError() == ERROR_PATH_NOT_FOUND;
}

void KeepDesktopWarm() { GetDesktopWindow(); }

std::vector<DWORD> RunningRepairTools() {
  std::vector<DWORD> ids;
  const Handle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  PROCESSENTRY32W process = {};
  process.dwSize = sizeof(process);
  for (BOOL more = Process32FirstW(snapshot.get(), &process); more;
       more = Process32NextW(snapshot.get(), &process)) {
    if (EqualsFolded(process.szExeFile, kRepairTool)) ids.push_back(process.th32ProcessID);
  }
  return ids;
}

size_t EndRepairTools() {
  size_t ended = 0;
  for (const DWORD id : RunningRepairTools()) ended += EndProcess(id) ? 1 : 0;
  return ended;
}

std::vector<JournalEntry> RepairMessages(const std::vector<JournalEntry>& journal) {
  std::vector<JournalEntry> messages;
  for (const JournalEntry& entry : journal) {
    const bool message = entry.call.starts_with("SCANPST::WM_") || entry.call == kButtonClick;
    if (message) messages.push_back(entry);
  }
  return messages;
}

std::vector<std::string> RepairClicks(const std::vector<JournalEntry>& journal) {
  std::vector<std::string> clicks;
  const std::vector<JournalEntry> messages = MouseMessages(journal);
  for (size_t at = 0; at < messages.size(); ++at) {
    if (IsClick(messages, at)) {
      clicks.push_back(messages[at].Argument("control"));
      ++at;
    } else {
      clicks.push_back("?" + messages[at].call);
    }
  }
  return clicks;
}

std::vector<std::string> RepairTexts(const std::vector<JournalEntry>& journal) {
  std::vector<std::string> texts;
  for (const JournalEntry& entry : CallsOf(journal, "SCANPST::WM_SETTEXT")) {
    if (entry.Argument("class") == "Edit") texts.push_back(entry.Argument("text"));
  }
  return texts;
}

std::vector<std::string> RepairCloses(const std::vector<JournalEntry>& journal) {
  std::vector<std::string> titles;
  for (const JournalEntry& entry : CallsOf(journal, "SCANPST::WM_CLOSE")) {
    titles.push_back(entry.Argument("window"));
  }
  return titles;
}

}  // namespace lab
