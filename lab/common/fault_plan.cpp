#include "lab/common/fault_plan.h"

#include <algorithm>
#include <utility>

namespace lab {
namespace {

// An operation stands without quotes where it can.
struct WriteOperation {
  std::string operator()(const std::string& text) const {
    return SplitQuoted(text) == RuleWords{text} ? text : Quote(text);
  }
};

bool ReadOrdinal(std::string_view word, FaultRule* rule) {
  return ReadMember<&FaultRule::nth>(word, rule) && *rule->nth != 0;
}

constexpr NamedValue<OutParameters> kTreatments[] = {
    {OutParameters::kPoison, "poison-out-parameters"},
    {OutParameters::kKeep, "keep-out-parameters"},
    {OutParameters::kNull, "null-out-parameters"},
};

constexpr NamedValue<bool> kJournals[] = {{true, "journal-system-calls"}};

using Word = RuleWord<FaultRule>;
constexpr Word kOperation = kValue<&FaultRule::operation, WriteOperation>;
constexpr Word kNth = {&ReadOrdinal, &WriteMember<&FaultRule::nth, WriteWord>};
constexpr Word kMatch = kValue<&FaultRule::match>;
constexpr Word kResult = kValue<&FaultRule::result, WriteResult>;
constexpr Word kTime = kValue<&FaultRule::milliseconds>;

constexpr RuleForm<FaultRule> kForms[] = {
    {"option", kChoice<&FaultRule::treatment, kTreatments>},
    {"option", kChoice<&FaultRule::journalsSystem, kJournals>},
    {kOperation, kNth, kResult},
    {kOperation, kNth, "delay", kTime},
    {kOperation, "*", kResult},
    {kOperation, "*", "delay", kTime},
    {kOperation, "match", kMatch, kResult},
    {kOperation, "match", kMatch, "delay", kTime},
};

}  // namespace

RuleForms<FaultRule> FaultPlan::Forms() { return kForms; }

OutParameters FaultPlan::Treatment() const {
  OutParameters treatment = OutParameters::kNull;
  for (const FaultRule& rule : Rules()) treatment = rule.treatment.value_or(treatment);
  return treatment;
}

bool FaultPlan::JournalsSystem() const {
  return std::any_of(Rules().begin(), Rules().end(),
                     [](const FaultRule& rule) { return rule.journalsSystem.value_or(false); });
}

FaultInjector::FaultInjector(FaultPlan plan) : plan_(std::move(plan)) {}

FaultInjector::Answer FaultInjector::NextCall(std::string_view operation, std::wstring_view user,
                                              std::string_view place) {
  std::vector<std::string> names = {"*", std::string(operation)};
  if (!place.empty()) names.push_back(names[1] + '@' + std::string(place));
  return Judge(names, user);
}

FaultInjector::Answer FaultInjector::NextValue(std::string_view operation,
                                               std::wstring_view match) {
  return Judge({std::string(operation)}, match);
}

FaultInjector::Answer FaultInjector::Judge(const std::vector<std::string>& names,
                                           std::wstring_view user) {
  std::map<std::string_view, uint32_t> numbers;
  {
    const std::lock_guard lock(mutex_);
    for (const std::string& name : names) numbers[name] = ++counts_[name];
  }
  Answer answer{.ordinal = numbers[names[0]]};
  for (const FaultRule& rule : plan_.Rules()) {
    const auto reached = numbers.find(rule.operation);
    if (reached == numbers.end() || (rule.nth && *rule.nth != reached->second)) continue;
    if (rule.match && !ContainsFolded(user, *rule.match)) continue;
    answer.milliseconds += rule.milliseconds.value_or(0);
    if (rule.milliseconds || answer.fails) continue;
    answer.fails = true;
    answer.result = rule.result;
  }
  return answer;
}

}  // namespace lab
