#include "lab/common/compaction_plan.h"

namespace lab {
namespace {

constexpr NamedValue<DialogTime> kTimes[] = {
    {DialogTime::kBefore, "before"},
    {DialogTime::kDuring, "during"},
    {DialogTime::kAfter, "after"},
};
constexpr NamedValue<bool> kNoDialog[] = {{false, "no-dialog"}};

using Word = RuleWord<CompactionRule>;
constexpr Word kStore = kValue<&CompactionRule::store>;
constexpr Word kTime = kChoice<&CompactionRule::time, kTimes>;
constexpr Word kTitle = kValue<&CompactionRule::title>;
constexpr Word kEndsAfter = kValue<&CompactionRule::endsAfter>;
constexpr Word kIgnoring = kValue<&CompactionRule::ignoresCloseFor>;

constexpr RuleForm<CompactionRule> kForms[] = {
    {kStore, "takes", kValue<&CompactionRule::milliseconds>},
    {kStore, "fails", kValue<&CompactionRule::result, WriteResult>},
    {kStore, "title", kTitle},
    {kStore, "ignores-close", kIgnoring},
    {kStore, kChoice<&CompactionRule::withDialog, kNoDialog>},
    {kStore, "dialog", kTime, kTitle},
    {kStore, "dialog", kTime, kTitle, "ends", kEndsAfter},
    {kStore, "dialog", kTime, kTitle, "ignores-close", kIgnoring},
    {kStore, "dialog", kTime, kTitle, "ends", kEndsAfter, "ignores-close", kIgnoring},
    {kStore, "dialog", kTime, kTitle, "ignores-close", kIgnoring, "ends", kEndsAfter},
    {kStore, "window", kValue<&CompactionRule::window>},
};

template <class Type>
void Override(const std::optional<Type>& said, Type* planned) {
  if (said) *planned = *said;
}

void Apply(const CompactionRule& rule, PlannedCompaction* planned) {
  if (rule.time) {
    planned->dialogs.push_back(
        {*rule.time, *rule.title, rule.endsAfter, rule.ignoresCloseFor.value_or(0)});
    return;
  }
  Override(rule.milliseconds, &planned->milliseconds);
  Override(rule.result, &planned->result);
  Override(rule.withDialog, &planned->withDialog);
  Override(rule.title, &planned->title);
  Override(rule.ignoresCloseFor, &planned->ignoresCloseFor);
  if (rule.window) planned->windows.push_back(*rule.window);
}

}  // namespace

PlannedCompaction CompactionPlan::For(std::wstring_view address) const {
  PlannedCompaction planned;
  for (const CompactionRule& rule : Rules()) {
    if (rule.store == L"*" || ContainsFolded(address, rule.store)) Apply(rule, &planned);
  }
  return planned;
}

RuleForms<CompactionRule> CompactionPlan::Forms() { return kForms; }

}  // namespace lab
