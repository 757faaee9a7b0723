#include "lab/stub/stub_plan.h"

namespace lab {
namespace {

constexpr NamedValue<bool> kSuccess[] = {{true, "path"}};

bool ReadEmpty(std::string_view word, StubRule* rule) {
  rule->succeeds = true;
  rule->path = "";
  return word == "empty";
}

std::string WriteEmpty(const StubRule&) { return "empty"; }

using Word = RuleWord<StubRule>;
constexpr Word kQualifier = kValue<&StubRule::qualifier>;
constexpr Word kPath = kValue<&StubRule::path>;

constexpr RuleForm<StubRule> kForms[] = {
    {kQualifier, {&ReadEmpty, &WriteEmpty}},
    {kQualifier, kChoice<&StubRule::succeeds, kSuccess>, kPath},
    {kQualifier, "fail"},
    {kQualifier, "fail", kPath},
};

}  // namespace

StubRule StubPlan::For(const char* qualifier) const {
  const std::string_view wanted = qualifier ? qualifier : "null";
  for (const StubRule& rule : Rules()) {
    if (rule.qualifier == "*" || rule.qualifier == wanted) return rule;
  }
  return {};
}

RuleForms<StubRule> StubPlan::Forms() { return kForms; }

}  // namespace lab
