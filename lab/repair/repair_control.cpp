#include "lab/repair/repair_control.h"

#include <tlhelp32.h>

#include <algorithm>

#include "lab/common/qsf_file.h"
#include "lab/common/text.h"
#include "src/platform/handle.h"

namespace lab {

const wchar_t kRepairTool[] = L"SCANPST.EXE";
const wchar_t kMapiProvider[] = L"mspst32.dll";

namespace {

constexpr DWORD kEndMilliseconds = 5000;

bool HasParameters(const JournalEntry& message, std::string_view wParam) {
  return message.Argument("wParam") == wParam && message.Argument("lParam") == "0x0" &&
         message.Argument("how") == "posted" && message.Argument("class") == "Button";
}

// Whether two mouse messages that follow each other are one click.
bool IsClick(const JournalEntry& down, const JournalEntry& up) {
  return down.call == "SCANPST::WM_LBUTTONDOWN" && up.call == "SCANPST::WM_LBUTTONUP" &&
         HasParameters(down, "0x1") && HasParameters(up, "0x0") && down.object == up.object &&
         down.Argument("control") == up.Argument("control");
}

bool EndProcess(DWORD id) {
  const platform::KernelHandle process(OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, id));
  return process && TerminateProcess(process.Get(), 0) &&
         WaitForSingleObject(process.Get(), kEndMilliseconds) == WAIT_OBJECT_0;
}

// A file whose first line is no store file's, and in which nothing else of one can be read either.
bool IsForeign(const std::wstring& path, const std::vector<QsfProblem>& problems) {
  const bool header = std::any_of(problems.begin(), problems.end(), [](const QsfProblem& problem) {
    return problem.damage == QsfDamage::kHeader;
  });
  QsfContent content;
  ReadQsf(path, &content);
  return header && content.main.owner.empty() && content.messageSizes.empty();
}

StoreFinding ErrorFinding(const std::wstring& path, const wchar_t* what) {
  return {RepairOutcome::kErrorBox, L"The file " + path + what, 0};
}

std::wstring Join(const std::vector<QsfProblem>& problems) {
  std::wstring text;
  for (const QsfProblem& problem : problems) {
    if (!text.empty()) text += L"; ";
    text += WideFromUtf8(problem.text);
  }
  return text;
}

}  // namespace

StoreFinding ExamineStore(const std::wstring& path) {
  std::vector<QsfProblem> problems;
  const QsfStatus status = CheckQsf(path, &problems);
  if (status == QsfStatus::kMissing) return ErrorFinding(path, L" does not exist.");
  if (status == QsfStatus::kLocked) return ErrorFinding(path, L" is in use by another program.");
  if (status == QsfStatus::kFailed) return ErrorFinding(path, L" cannot be read.");
  if (problems.empty()) return {};
  if (IsForeign(path, problems)) return ErrorFinding(path, L" is not a store file.");
  const bool minor = status == QsfStatus::kOk;
  return {minor ? RepairOutcome::kMinor : RepairOutcome::kErrors, Join(problems), problems.size()};
}

std::wstring BackupPathOf(const std::wstring& path) {
  const size_t name = path.rfind(L'\\') + 1;
  const size_t dot = path.rfind(L'.');
  const bool hasExtension = dot != std::wstring::npos && dot >= name;
  return path.substr(0, hasExtension ? dot : path.size()) + L".bak";
}

bool BackupExists(const std::wstring& path) {
  return GetFileAttributesW(BackupPathOf(path).c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool RepairStore(const std::wstring& path, std::wstring* text) {
  if (!CopyFileW(path.c_str(), BackupPathOf(path).c_str(), FALSE)) {
    *text = L"The backup file " + BackupPathOf(path) + L" cannot be written.";
    return false;
  }
  if (RepairQsf(path) != QsfStatus::kOk) {
    *text = L"The file " + path + L" cannot be repaired.";
    return false;
  }
  const StoreFinding finding = ExamineStore(path);
  *text = finding.text;
  return finding.outcome == RepairOutcome::kSound;
}

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

std::vector<DWORD> ProcessesOf(std::wstring_view fileName) {
  std::vector<DWORD> ids;
  const auto snapshot = platform::TakeFileHandle(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  PROCESSENTRY32W process = {};
  process.dwSize = sizeof(process);
  for (BOOL more = Process32FirstW(snapshot.Get(), &process); more;
       more = Process32NextW(snapshot.Get(), &process)) {
    if (EqualsFolded(process.szExeFile, fileName)) ids.push_back(process.th32ProcessID);
  }
  return ids;
}

std::vector<DWORD> RunningRepairTools() { return ProcessesOf(kRepairTool); }

size_t EndRepairTools() {
  size_t ended = 0;
  for (const DWORD id : RunningRepairTools()) ended += EndProcess(id) ? 1 : 0;
  return ended;
}

std::vector<JournalEntry> RepairMessages(const std::vector<JournalEntry>& journal) {
  std::vector<JournalEntry> messages = journal;
  std::erase_if(messages, [](const JournalEntry& entry) {
    return !entry.call.starts_with("SCANPST::WM_") && entry.call != "SCANPST::BM_CLICK";
  });
  return messages;
}

std::vector<std::string> RepairClicks(const std::vector<JournalEntry>& journal) {
  std::vector<JournalEntry> messages = RepairMessages(journal);
  std::erase_if(messages, [](const JournalEntry& message) {
    return message.call.ends_with("TEXT") || message.call.ends_with("WM_CLOSE");
  });
  std::vector<std::string> clicks;
  for (size_t at = 0; at < messages.size(); ++at) {
    if (at + 1 < messages.size() && IsClick(messages[at], messages[at + 1])) {
      clicks.push_back(messages[at++].Argument("control"));
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
