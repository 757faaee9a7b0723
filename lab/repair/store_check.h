// What the repair tool finds in a store file, and its repair.
#pragma once

#include <string>

#include "lab/repair/repair_plan.h"

namespace lab {

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

}  // namespace lab
