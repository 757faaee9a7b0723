#include "lab/stub/stub_plan.h"

#include <utility>

#include "lab/common/rule_file.h"
#include "lab/common/text.h"

namespace lab {
namespace {

constexpr wchar_t kFileName[] = L"mapistub.txt";
constexpr char kAny[] = "*";
constexpr char kNoQualifier[] = "null";

// The words behind a rule's qualifier: "path <path>", "empty", "fail" or "fail <path>".
std::optional<StubAnswer> ReadAnswer(const std::vector<std::string>& words) {
  const bool hasPath = words.size() == 3;
  if (words.size() < 2 || words.size() > 3) return std::nullopt;
  if (words[1] == "path" && hasPath) return StubAnswer{true, words[2]};
  if (words[1] == "empty" && !hasPath) return StubAnswer{true, ""};
  if (words[1] != "fail") return std::nullopt;
  return hasPath ? StubAnswer{false, words[2]} : StubAnswer{};
}

std::string WriteAnswer(const StubAnswer& answer) {
  if (answer.succeeds && answer.path.value_or("").empty()) return "empty";
  const std::string word = answer.succeeds ? "path" : "fail";
  return answer.path ? word + ' ' + Quote(*answer.path) : word;
}

}  // namespace

StubPlan& StubPlan::Add(std::string qualifier, StubAnswer answer) {
  rules_.push_back({std::move(qualifier), std::move(answer)});
  return *this;
}

StubPlan& StubPlan::Path(std::string qualifier, std::string path) {
  return Add(std::move(qualifier), {true, std::move(path)});
}

StubPlan& StubPlan::Empty(std::string qualifier) { return Add(std::move(qualifier), {true, ""}); }

StubPlan& StubPlan::Fail(std::string qualifier) { return Add(std::move(qualifier), {}); }

StubPlan& StubPlan::FailWithPath(std::string qualifier, std::string path) {
  return Add(std::move(qualifier), {false, std::move(path)});
}

StubAnswer StubPlan::For(const char* qualifier) const {
  const std::string_view wanted = qualifier != nullptr ? qualifier : kNoQualifier;
  for (const Rule& rule : rules_) {
    if (rule.qualifier == kAny || rule.qualifier == wanted) return rule.answer;
  }
  return {};
}

std::string StubPlan::Format() const {
  std::string text;
  for (const Rule& rule : rules_) {
    text += Quote(rule.qualifier) + ' ' + WriteAnswer(rule.answer) + '\n';
  }
  return text;
}

bool StubPlan::Parse(std::string_view text, std::string* error) {
  const auto take = [this](const std::vector<std::string>& words) {
    const std::optional<StubAnswer> answer = ReadAnswer(words);
    if (answer) Add(words[0], *answer);
    return answer.has_value();
  };
  return ReadRules(text, take, error);
}

bool StubPlan::Save(const std::wstring& directory) const {
  return SaveRuleFile(directory, kFileName, Format());
}

StubPlan StubPlan::Load(const std::wstring& directory) {
  return LoadPlan<StubPlan>(directory, kFileName);
}

}  // namespace lab
