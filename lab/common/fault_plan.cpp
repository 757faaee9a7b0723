#include "lab/common/fault_plan.h"

#include <algorithm>
#include <utility>

#include "lab/common/rule_file.h"
#include "lab/common/text.h"

namespace lab {
namespace {

constexpr wchar_t kFileName[] = L"faults.txt";

struct TreatmentName {
  const char* text;
  OutParameters treatment;
};
constexpr TreatmentName kTreatments[] = {
    {"poison-out-parameters", OutParameters::kPoison},
    {"keep-out-parameters", OutParameters::kKeep},
    {"null-out-parameters", OutParameters::kNull},
};

FaultRule Rule(std::string operation, FaultRule::Selection selection) {
  FaultRule rule;
  rule.operation = std::move(operation);
  rule.selection = selection;
  return rule;
}

FaultRule Failing(FaultRule rule, uint32_t result) {
  rule.result = result;
  return rule;
}

FaultRule Delaying(FaultRule rule, uint32_t milliseconds) {
  rule.delays = true;
  rule.milliseconds = milliseconds;
  return rule;
}

FaultRule Nth(std::string operation, uint32_t nth) {
  FaultRule rule = Rule(std::move(operation), FaultRule::Selection::kNth);
  rule.nth = nth;
  return rule;
}

FaultRule Matching(std::string operation, std::wstring text) {
  FaultRule rule = Rule(std::move(operation), FaultRule::Selection::kMatch);
  rule.match = std::move(text);
  return rule;
}

std::string FormatRule(const FaultRule& rule) {
  std::string line = rule.operation;
  if (rule.selection == FaultRule::Selection::kNth) line += ' ' + std::to_string(rule.nth);
  if (rule.selection == FaultRule::Selection::kEach) line += " *";
  if (rule.selection == FaultRule::Selection::kMatch) {
    line += " match " + Quote(Utf8FromWide(rule.match));
  }
  if (rule.delays) return line + " delay " + std::to_string(rule.milliseconds);
  return line + ' ' + HexResult(rule.result);
}

// Reads the words that select calls, and returns how many there were; 0 when they are wrong.
size_t ParseSelection(const std::vector<std::string>& words, FaultRule* rule) {
  if (words.size() < 3) return 0;
  rule->operation = words[0];
  if (words[1] == "*") return 2;
  if (words[1] == "match") {
    rule->selection = FaultRule::Selection::kMatch;
    rule->match = WideFromUtf8(words[2]);
    return 3;
  }
  const auto nth = ParseNumber(words[1]);
  if (!nth || *nth == 0) return 0;
  rule->selection = FaultRule::Selection::kNth;
  rule->nth = *nth;
  return 2;
}

bool ParseRule(const std::vector<std::string>& words, FaultRule* rule) {
  size_t at = ParseSelection(words, rule);
  if (at == 0 || at >= words.size()) return false;
  rule->delays = words[at] == "delay";
  if (rule->delays) ++at;
  if (at + 1 != words.size()) return false;
  const auto number = ParseNumber(words[at]);
  if (!number) return false;
  (rule->delays ? rule->milliseconds : rule->result) = *number;
  return true;
}

bool ParseOption(const std::vector<std::string>& words, FaultPlan* plan) {
  if (words.size() != 2) return false;
  for (const TreatmentName& name : kTreatments) {
    if (words[1] == name.text) {
      plan->SetOutParameters(name.treatment);
      return true;
    }
  }
  return false;
}

bool TakeRule(const std::vector<std::string>& words, FaultPlan* plan) {
  if (words[0] == "option") return ParseOption(words, plan);
  FaultRule rule;
  if (!ParseRule(words, &rule)) return false;
  plan->Add(std::move(rule));
  return true;
}

}  // namespace

FaultPlan& FaultPlan::Add(FaultRule rule) {
  rules_.push_back(std::move(rule));
  return *this;
}

FaultPlan& FaultPlan::FailNth(std::string operation, uint32_t nth, uint32_t result) {
  return Add(Failing(Nth(std::move(operation), nth), result));
}

FaultPlan& FaultPlan::FailEach(std::string operation, uint32_t result) {
  return Add(Failing(Rule(std::move(operation), FaultRule::Selection::kEach), result));
}

FaultPlan& FaultPlan::FailMatching(std::string operation, std::wstring text, uint32_t result) {
  return Add(Failing(Matching(std::move(operation), std::move(text)), result));
}

FaultPlan& FaultPlan::DelayNth(std::string operation, uint32_t nth, uint32_t milliseconds) {
  return Add(Delaying(Nth(std::move(operation), nth), milliseconds));
}

FaultPlan& FaultPlan::DelayEach(std::string operation, uint32_t milliseconds) {
  return Add(Delaying(Rule(std::move(operation), FaultRule::Selection::kEach), milliseconds));
}

FaultPlan& FaultPlan::DelayMatching(std::string operation, std::wstring text,
                                    uint32_t milliseconds) {
  return Add(Delaying(Matching(std::move(operation), std::move(text)), milliseconds));
}

FaultPlan& FaultPlan::SetOutParameters(OutParameters treatment) {
  treatment_ = treatment;
  return *this;
}

std::string FaultPlan::Format() const {
  std::string text;
  for (const TreatmentName& name : kTreatments) {
    if (name.treatment == treatment_ && treatment_ != OutParameters::kNull) {
      text += std::string("option ") + name.text + '\n';
    }
  }
  for (const FaultRule& rule : rules_) text += FormatRule(rule) + '\n';
  return text;
}

bool FaultPlan::Parse(std::string_view text, std::string* error) {
  return ReadRules(
      text, [this](const auto& words) { return TakeRule(words, this); }, error);
}

bool FaultPlan::Save(const std::wstring& directory) const {
  return SaveRuleFile(directory, kFileName, Format());
}

FaultPlan FaultPlan::Load(const std::wstring& directory) {
  return LoadPlan<FaultPlan>(directory, kFileName);
}

FaultInjector::FaultInjector(FaultPlan plan) : plan_(std::move(plan)) {}

FaultInjector::Counted FaultInjector::Count(std::string name) {
  const uint32_t number = ++counts_[name];
  return {std::move(name), number};
}

FaultInjector::Answer FaultInjector::NextCall(std::string_view operation, std::wstring_view user,
                                              std::string_view place) {
  std::vector<Counted> names;
  {
    std::lock_guard lock(mutex_);
    names.push_back(Count(std::string(operation)));
    names.push_back(Count("*"));
    if (!place.empty()) names.push_back(Count(std::string(operation) + '@' + std::string(place)));
  }
  Answer answer = Judge(names, user);
  answer.ordinal = names[1].number;
  return answer;
}

FaultInjector::Answer FaultInjector::NextValue(std::string_view operation) {
  std::vector<Counted> names;
  {
    std::lock_guard lock(mutex_);
    names.push_back(Count(std::string(operation)));
  }
  return Judge(names, {});
}

FaultInjector::Answer FaultInjector::Judge(const std::vector<Counted>& names,
                                           std::wstring_view user) const {
  Answer answer;
  for (const FaultRule& rule : plan_.Rules()) {
    const auto reaches = [&](const Counted& name) { return Reaches(rule, name, user); };
    if (std::none_of(names.begin(), names.end(), reaches)) continue;
    if (rule.delays) {
      answer.milliseconds += rule.milliseconds;
    } else if (!answer.fails) {
      answer.fails = true;
      answer.result = rule.result;
    }
  }
  return answer;
}

bool FaultInjector::Reaches(const FaultRule& rule, const Counted& name, std::wstring_view user) {
  if (rule.operation != name.name) return false;
  switch (rule.selection) {
    case FaultRule::Selection::kNth:
      return rule.nth == name.number;
    case FaultRule::Selection::kMatch:
      return FoldAscii(user).find(FoldAscii(rule.match)) != std::wstring::npos;
    default:
      return true;
  }
}

}  // namespace lab
