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
// Dialogs "before" and "after" the compaction are shown one at a time, and nothing goes on until
// they are closed or end by themselves; those "during" it stand beside its own dialog and end with
// it at the latest.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lab/common/rule_file.h"

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

// A rule says one thing. With a time it is another dialog, otherwise it is about the compaction.
struct CompactionRule {
  std::wstring store = {};  // "*" for all
  std::optional<uint32_t> milliseconds = {};
  std::optional<uint32_t> result = {};
  std::optional<bool> withDialog = {};
  std::optional<DialogTime> time = {};
  std::optional<std::wstring> title = {};
  std::optional<uint32_t> endsAfter = {};
  std::optional<uint32_t> ignoresCloseFor = {};
  std::optional<std::wstring> window = {};  // its title

  bool operator==(const CompactionRule&) const = default;
};

// The connector reads the plan anew for each compaction.
class CompactionPlan : public RulePlan<CompactionPlan, CompactionRule> {
 public:
  static constexpr wchar_t kFileName[] = L"compact.txt";

  CompactionPlan& Takes(std::wstring store, uint32_t milliseconds) {
    return Add({.store = std::move(store), .milliseconds = milliseconds});
  }
  CompactionPlan& Fails(std::wstring store, uint32_t result) {
    return Add({.store = std::move(store), .result = result});
  }
  CompactionPlan& Title(std::wstring store, std::wstring title) {
    return Add({.store = std::move(store), .title = std::move(title)});
  }
  CompactionPlan& IgnoresClose(std::wstring store, uint32_t milliseconds) {
    return Add({.store = std::move(store), .ignoresCloseFor = milliseconds});
  }
  CompactionPlan& NoDialog(std::wstring store) {
    return Add({.store = std::move(store), .withDialog = false});
  }
  CompactionPlan& Dialog(std::wstring store, PlannedDialog dialog) {
    return Add({.store = std::move(store),
                .time = dialog.time,
                .title = std::move(dialog.title),
                .endsAfter = dialog.endsAfter,
                .ignoresCloseFor = dialog.ignoresCloseFor != 0
                                       ? std::optional(dialog.ignoresCloseFor)
                                       : std::nullopt});
  }
  CompactionPlan& Window(std::wstring store, std::wstring title) {
    return Add({.store = std::move(store), .window = std::move(title)});
  }
  // A dialog before the compaction that stays until somebody closes it.
  CompactionPlan& ErrorBox(std::wstring store, std::wstring title) {
    return Dialog(std::move(store), {.title = std::move(title)});
  }

  // What the rules make of the store of `address`.
  PlannedCompaction For(std::wstring_view address) const;

  static RuleForms<CompactionRule> Forms();
};

}  // namespace lab
