// The repair tool of the lab, as tests and labctl set it up and look at it.
//
//   lab::KeepDesktopWarm();
//   lab::RepairPlan plan;
//   plan.options.scanTime = 3000;
//   plan.File(L"ann.qsf").outcome = lab::RepairOutcome::kErrorBox;
//   plan.Save(labDirectory);
//   lab::PlaceRepairTool(L"C:\\outlook", labFolder + L"\\SCANPST.EXE");
#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

#include "lab/common/journal.h"
#include "lab/repair/repair_plan.h"

namespace lab {

// "SCANPST.EXE", "mspst32.dll".
extern const wchar_t kRepairTool[];
extern const wchar_t kMapiProvider[];

// What the tool finds in a store file.
struct StoreFinding {
  RepairOutcome outcome = RepairOutcome::kSound;  // never kFromFile
  std::wstring text;                              // for people: what is wrong
  size_t problems = 0;
};

// Reads the file and judges it. A file that is missing, in use or no store file gives kErrorBox.
StoreFinding ExamineStore(const std::wstring& path);

// The backup file beside the store file: its name with the extension ".bak".
std::wstring BackupPathOf(const std::wstring& path);
bool BackupExists(const std::wstring& path);

// Copies the file to its backup, replacing one that is there, then repairs it. False when either
// fails or the file is not sound afterwards; `text` then says why.
bool RepairStore(const std::wstring& path, std::wstring* text);

// Copies the tool from `program` into `directory`, which is created when it does not exist, and
// puts a provider beside it. False, with GetLastError, when the file system refuses.
bool PlaceRepairTool(const std::wstring& directory, const std::wstring& program);

// Makes the provider mspst32.dll exist in `directory`, as an empty file; the directory is then
// where the tool is looked for. Removing it succeeds also when it is not there.
bool PlaceMapiProvider(const std::wstring& directory);
bool RemoveMapiProvider(const std::wstring& directory);

// Keeps the desktop in use until the calling process ends. Under Wine the first window of a desktop
// that nobody uses starts the desktop's own process, and whoever waits with WaitForInputIdle for
// the window's program is told too early, before the window exists. A process that lives as long as
// the tests calls this once, before it starts the program that starts the tool.
void KeepDesktopWarm();

// The ids of the processes that run a program file of that name.
std::vector<DWORD> ProcessesOf(std::wstring_view fileName);

// The same of the repair tool's.
std::vector<DWORD> RunningRepairTools();

// Ends them all; returns how many there were. A tool whose window was not found is left running by
// whoever drives it, and so is one that ignores everything.
size_t EndRepairTools();

// What reached the tool from outside, by the journal: the lines of window messages.
std::vector<JournalEntry> RepairMessages(const std::vector<JournalEntry>& journal);

// The texts of the buttons that were clicked, in order: WM_LBUTTONDOWN with MK_LBUTTON and lParam 0
// to a button, and WM_LBUTTONUP with 0 and 0 to the same one behind it, both posted. Anything else
// that is done with the mouse stands there as "?" and the message's name.
std::vector<std::string> RepairClicks(const std::vector<JournalEntry>& journal);

// The texts that were written into an edit field, in order.
std::vector<std::string> RepairTexts(const std::vector<JournalEntry>& journal);

// The titles of the windows that were sent WM_CLOSE, in order.
std::vector<std::string> RepairCloses(const std::vector<JournalEntry>& journal);

}  // namespace lab
