#include "lab/labctl/plans.h"

#include "lab/common/compaction_plan.h"
#include "lab/common/fault_plan.h"
#include "lab/common/lab_config.h"
#include "lab/common/text.h"
#include "lab/labctl/output.h"
#include "lab/repair/repair_plan.h"

namespace lab {
namespace {

constexpr wchar_t kFileWord[] = L"file";

// A word as a plan's text takes it.
std::string PlanWord(const std::wstring& word) {
  const std::string text = Utf8FromWide(word);
  return text.find_first_of(" \t\"#") == std::string::npos && !text.empty() ? text : Quote(text);
}

std::string PlanLine(Words::const_iterator first, Words::const_iterator last) {
  std::string line;
  for (auto word = first; word != last; ++word) line += (line.empty() ? "" : " ") + PlanWord(*word);
  return line;
}

template <class Plan>
int AddToPlan(const std::string& text) {
  const std::wstring directory = LabDirectory();
  if (directory.empty()) return Outcome(false, "the lab has no directory");
  Plan plan = Plan::Load(directory);
  if (!plan.Parse(text)) return kNotUnderstood;
  Print(plan.Format());
  return Outcome(plan.Save(directory), "the plan cannot be written");
}

template <class Plan>
int EmptyPlan() {
  return Outcome(Plan().Save(LabDirectory()), "the plan cannot be written");
}

}  // namespace

int AddFault(const Words& words) {
  return AddToPlan<FaultPlan>(PlanLine(words.begin(), words.end()));
}

int AddCompactionRule(const Words& words) {
  return AddToPlan<CompactionPlan>(PlanLine(words.begin(), words.end()));
}

int AddRepairOption(const Words& words) {
  const bool forFile = words[0] == kFileWord;
  if (words.size() != (forFile ? 4 : 2)) return kNotUnderstood;
  const auto option = words.end() - 2;
  return AddToPlan<RepairPlan>(PlanLine(words.begin(), option) + '\n' +
                               PlanLine(option, words.end()));
}

int EmptyFaults(const Words&) { return EmptyPlan<FaultPlan>(); }
int EmptyCompaction(const Words&) { return EmptyPlan<CompactionPlan>(); }
int EmptyRepair(const Words&) { return EmptyPlan<RepairPlan>(); }

}  // namespace lab
