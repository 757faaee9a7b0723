// How the repair tool of the lab behaves. Without a plan it does what the file asks for.
//
// The plan is the rule file `repair.txt` (rule_file.h), one option a line. The options behind a
// line "file <text>" hold only for store files whose path contains the text (without regard to the
// case of A to Z), instead of and beside those above it.
//
//   scan-time 3000
//   file ann.qsf
//   outcome error-box
//   error-text "The disk is on fire."
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lab/common/rule_file.h"

namespace lab {

// Where the tool's process ends all at once, with exit code 3.
enum class RepairDeath { kNever, kAtStart, kInScan, kInRepair };

// What a scan ends with.
enum class RepairOutcome {
  kFromFile,  // what the file's condition asks for
  kSound,     // a page with "OK" and an edit field
  kErrors,    // a page with "&Repair"
  kMinor,     // the question whether to repair minor inconsistencies
  kErrorBox,  // a dialog with "OK" and without an edit field
};

// What follows a confirmed cancel.
enum class AfterCancel { kErrorBox, kSound, kContinue };

// When the tool asks whether to replace the backup file.
enum class BackupQuestion { kWhenThere, kAlways, kNever };

// Whether an edit field stands beside the final "OK".
enum class ResultEdit { kByOutcome, kAlways, kNever };

// Times are milliseconds. Defaults make an ordinary tool that takes no time.
struct RepairOptions {
  // Its start. These and `lifetime` are taken from the plan's head, before the file is known.
  uint32_t startTime = 0;    // the process is busy so long before it is idle
  bool window = true;        // false: no window at all, the process stays
  uint32_t windowDelay = 0;  // the main window comes so long after the process is idle
  bool startEdit = true;     // the first page has its edit field
  bool startButton = true;   // ... and "&Start"
  uint32_t lifetime = 0;     // the process ends by itself after this time; 0: it does not
  RepairDeath death = RepairDeath::kNever;  // kAtStart only from the plan's head

  // Its scan.
  uint32_t scanTime = 0;
  bool cancelButton = true;    // "Cancel" on the scan's page
  bool cancelQuestion = true;  // "Cancel" asks before it cancels
  AfterCancel afterCancel = AfterCancel::kErrorBox;
  uint32_t windowInScan = 0;  // a second window opens so long after the scan's start; 0: none
  RepairOutcome outcome = RepairOutcome::kFromFile;

  // Its results.
  std::wstring errorText = {};  // of the error box, instead of what is wrong
  uint32_t errorStatics = 2;  // how many static controls the error box has; the second is the text
  ResultEdit resultEdit = ResultEdit::kByOutcome;

  // Its repair.
  uint32_t repairTime = 0;
  BackupQuestion backupQuestion = BackupQuestion::kWhenThere;

  // Its end.
  bool okCloses = false;  // the final "OK" closes the tool, not only the result
  // The final "OK" acts only so long after its click: who closes the windows right after the click
  // then finds them all, every time.
  uint32_t okDelay = 200;
  uint32_t windowsAtEnd = 0;    // windows that open below the final result
  uint32_t windowsOnClose = 0;  // windows that open when the main window is closed
  uint32_t ignoreClose = 0;     // WM_CLOSE does nothing until so long after the first one

  bool operator==(const RepairOptions&) const = default;
};

class RepairPlan : public PlanInFile<RepairPlan> {
 public:
  static constexpr wchar_t kFileName[] = L"repair.txt";

  // The plan's head, for every file that no block is for.
  RepairOptions options;

  // The block for the files whose path contains `text`; a new one starts as the head now is. The
  // reference is good until another block is made.
  RepairOptions& File(std::wstring text);

  // The options for the file: those of the first block that fits, or the head.
  const RepairOptions& For(std::wstring_view path) const;

  // The plan's text, and back. Parse adds what it reads to the plan; at the first line that is no
  // option it stops and returns false, and `error`, when given, names the line.
  std::string Format() const;
  bool Parse(std::string_view text, std::string* error = nullptr);

 private:
  struct Block {
    std::wstring text;
    RepairOptions options;
  };

  std::vector<Block> blocks_;
};

}  // namespace lab
