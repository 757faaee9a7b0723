// The compaction plan: what the connector does, and which windows it shows, when it is told to
// compact a store.
//
// The plan is the rule file `compact.txt` (rule_file.h). A rule holds for the stores whose address
// contains <store> (without regard to the case of A to Z), or with * for all of them. Of rules that
// say the same thing twice the later one holds; dialogs and windows add up.
//
//   <store> takes <milliseconds>           how long it takes; 100 when nothing is said
//   <store> fails <0xHRESULT>              it takes its time, then fails and changes nothing
//   <store> title <text>                   of its dialog; "Compact Now" when nothing is said
//   <store> ignores-close <milliseconds>   its dialog takes no notice of WM_CLOSE that long
//   <store> no-dialog                      it shows no dialog of its own
//   <store> dialog <before|during|after> <title> [ends <ms>] [ignores-close <ms>]
//                                          another dialog
//   <store> window <title>                 a top-level window that is no dialog, all the time
//
// Dialogs "before" and "after" the compaction are shown one at a
// time, and nothing goes on until they are closed or end by themselves; those "during" it stand
// beside its own dialog and end with it at the latest.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lab {

enum class DialogTime { kBefore, kDuring, kAfter };

struct PlannedDialog {
  DialogTime time = DialogTime::kBefore;
  std::wstring title;
  std::optional<uint32_t> endsAfter = {};  // milliseconds; none: somebody must close it
  uint32_t ignoresCloseFor = 0;            // milliseconds
};

// All that is planned for one store.
struct PlannedCompaction {
  uint32_t milliseconds = 100;
  uint32_t result = 0;  // HRESULT
  bool withDialog = true;
  std::wstring title = L"Compact Now";
  uint32_t ignoresCloseFor = 0;        // of its own dialog
  std::vector<PlannedDialog> dialogs;  // the others
  std::vector<std::wstring> windows;   // titles
};

struct CompactionRule {
  enum class Kind { kTakes, kFails, kTitle, kIgnoresClose, kNoDialog, kDialog, kWindow };

  std::wstring store;  // "*" for all
  Kind kind = Kind::kTakes;
  uint32_t number = 0;   // milliseconds, or the HRESULT
  PlannedDialog dialog;  // its title serves kTitle and kWindow too
};

class CompactionPlan {
 public:
  // Each adds a rule and returns the plan, so that calls can be chained.
  CompactionPlan& Add(CompactionRule rule);
  CompactionPlan& Takes(std::wstring store, uint32_t milliseconds);
  CompactionPlan& Fails(std::wstring store, uint32_t result);
  CompactionPlan& Title(std::wstring store, std::wstring title);
  CompactionPlan& IgnoresClose(std::wstring store, uint32_t milliseconds);
  CompactionPlan& NoDialog(std::wstring store);
  CompactionPlan& Dialog(std::wstring store, PlannedDialog dialog);
  CompactionPlan& Window(std::wstring store, std::wstring title);
  // A dialog before the compaction that stays until somebody closes it.
  CompactionPlan& ErrorBox(std::wstring store, std::wstring title);

  const std::vector<CompactionRule>& Rules() const { return rules_; }

  // What the rules make of the store of `address`.
  PlannedCompaction For(std::wstring_view address) const;

  // The plan's text, and back. Parse adds what it reads to the plan; at the first line that is no
  // rule it stops and returns false, and `error`, when given, names the line.
  std::string Format() const;
  bool Parse(std::string_view text, std::string* error = nullptr);

  // Writes compact.txt in `directory`, which is created when it does not exist; false when that
  // fails. The connector reads the plan anew for each compaction.
  bool Save(const std::wstring& directory) const;

  // The plan kept in `directory`; see LoadPlan.
  static CompactionPlan Load(const std::wstring& directory);

 private:
  std::vector<CompactionRule> rules_;
};

}  // namespace lab
