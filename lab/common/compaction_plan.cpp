#include "lab/common/compaction_plan.h"

#include <utility>

#include "lab/common/rule_file.h"
#include "lab/common/text.h"

namespace lab {
namespace {

using Kind = CompactionRule::Kind;

constexpr wchar_t kFileName[] = L"compact.txt";
constexpr wchar_t kEverything[] = L"*";

// What follows a rule's word.
enum class Operand { kNone, kMilliseconds, kResult, kTitle, kDialog };

struct KindFacts {
  const char* word;
  Kind kind;
  Operand operand;
};
constexpr KindFacts kKinds[] = {
    {"takes", Kind::kTakes, Operand::kMilliseconds},
    {"fails", Kind::kFails, Operand::kResult},
    {"title", Kind::kTitle, Operand::kTitle},
    {"ignores-close", Kind::kIgnoresClose, Operand::kMilliseconds},
    {"no-dialog", Kind::kNoDialog, Operand::kNone},
    {"dialog", Kind::kDialog, Operand::kDialog},
    {"window", Kind::kWindow, Operand::kTitle},
};

struct TimeWord {
  const char* word;
  DialogTime time;
};
constexpr TimeWord kTimes[] = {
    {"before", DialogTime::kBefore},
    {"during", DialogTime::kDuring},
    {"after", DialogTime::kAfter},
};

CompactionRule Rule(std::wstring store, Kind kind) {
  CompactionRule rule;
  rule.store = std::move(store);
  rule.kind = kind;
  return rule;
}

CompactionRule Numbered(std::wstring store, Kind kind, uint32_t number) {
  CompactionRule rule = Rule(std::move(store), kind);
  rule.number = number;
  return rule;
}

CompactionRule Titled(std::wstring store, Kind kind, std::wstring title) {
  CompactionRule rule = Rule(std::move(store), kind);
  rule.dialog.title = std::move(title);
  return rule;
}

std::string FormatDialog(const PlannedDialog& dialog) {
  std::string text;
  for (const TimeWord& time : kTimes) {
    if (time.time == dialog.time) text = std::string(" ") + time.word;
  }
  text += ' ' + Quote(Utf8FromWide(dialog.title));
  if (dialog.endsAfter) text += " ends " + std::to_string(*dialog.endsAfter);
  if (dialog.ignoresCloseFor != 0) {
    text += " ignores-close " + std::to_string(dialog.ignoresCloseFor);
  }
  return text;
}

std::string FormatOperand(const CompactionRule& rule, Operand operand) {
  switch (operand) {
    case Operand::kMilliseconds:
      return ' ' + std::to_string(rule.number);
    case Operand::kResult:
      return ' ' + HexResult(rule.number);
    case Operand::kTitle:
      return ' ' + Quote(Utf8FromWide(rule.dialog.title));
    case Operand::kDialog:
      return FormatDialog(rule.dialog);
    default:
      return {};
  }
}

std::string FormatRule(const CompactionRule& rule) {
  for (const KindFacts& facts : kKinds) {
    if (facts.kind != rule.kind) continue;
    return Quote(Utf8FromWide(rule.store)) + ' ' + facts.word + FormatOperand(rule, facts.operand);
  }
  return {};
}

bool ParseTime(const std::string& word, DialogTime* time) {
  for (const TimeWord& known : kTimes) {
    if (word != known.word) continue;
    *time = known.time;
    return true;
  }
  return false;
}

// `words` are those behind "dialog".
bool ParseDialog(const std::vector<std::string>& words, PlannedDialog* dialog) {
  if (words.size() < 2 || words.size() % 2 != 0) return false;
  if (!ParseTime(words[0], &dialog->time)) return false;
  dialog->title = WideFromUtf8(words[1]);
  for (size_t i = 2; i < words.size(); i += 2) {
    const auto number = ParseNumber(words[i + 1]);
    if (!number) return false;
    if (words[i] == "ends") {
      dialog->endsAfter = *number;
    } else if (words[i] == "ignores-close") {
      dialog->ignoresCloseFor = *number;
    } else {
      return false;
    }
  }
  return true;
}

bool ParseOperand(const std::vector<std::string>& words, Operand operand, CompactionRule* rule) {
  if (operand == Operand::kDialog) return ParseDialog(words, &rule->dialog);
  if (operand == Operand::kNone) return words.empty();
  if (words.size() != 1) return false;
  if (operand == Operand::kTitle) {
    rule->dialog.title = WideFromUtf8(words[0]);
    return true;
  }
  const auto number = ParseNumber(words[0]);
  if (number) rule->number = *number;
  return number.has_value();
}

bool TakeRule(const std::vector<std::string>& words, CompactionPlan* plan) {
  if (words.size() < 2) return false;
  for (const KindFacts& facts : kKinds) {
    if (words[1] != facts.word) continue;
    CompactionRule rule = Rule(WideFromUtf8(words[0]), facts.kind);
    if (!ParseOperand({words.begin() + 2, words.end()}, facts.operand, &rule)) return false;
    plan->Add(std::move(rule));
    return true;
  }
  return false;
}

bool HoldsFor(const CompactionRule& rule, std::wstring_view address) {
  return rule.store == kEverything ||
         FoldAscii(address).find(FoldAscii(rule.store)) != std::wstring::npos;
}

void Apply(const CompactionRule& rule, PlannedCompaction* planned) {
  switch (rule.kind) {
    case Kind::kTakes:
      planned->milliseconds = rule.number;
      break;
    case Kind::kFails:
      planned->result = rule.number;
      break;
    case Kind::kTitle:
      planned->title = rule.dialog.title;
      break;
    case Kind::kIgnoresClose:
      planned->ignoresCloseFor = rule.number;
      break;
    case Kind::kNoDialog:
      planned->withDialog = false;
      break;
    case Kind::kDialog:
      planned->dialogs.push_back(rule.dialog);
      break;
    case Kind::kWindow:
      planned->windows.push_back(rule.dialog.title);
      break;
  }
}

}  // namespace

CompactionPlan& CompactionPlan::Add(CompactionRule rule) {
  rules_.push_back(std::move(rule));
  return *this;
}

CompactionPlan& CompactionPlan::Takes(std::wstring store, uint32_t milliseconds) {
  return Add(Numbered(std::move(store), Kind::kTakes, milliseconds));
}

CompactionPlan& CompactionPlan::Fails(std::wstring store, uint32_t result) {
  return Add(Numbered(std::move(store), Kind::kFails, result));
}

CompactionPlan& CompactionPlan::Title(std::wstring store, std::wstring title) {
  return Add(Titled(std::move(store), Kind::kTitle, std::move(title)));
}

CompactionPlan& CompactionPlan::IgnoresClose(std::wstring store, uint32_t milliseconds) {
  return Add(Numbered(std::move(store), Kind::kIgnoresClose, milliseconds));
}

CompactionPlan& CompactionPlan::NoDialog(std::wstring store) {
  return Add(Rule(std::move(store), Kind::kNoDialog));
}

CompactionPlan& CompactionPlan::Dialog(std::wstring store, PlannedDialog dialog) {
  CompactionRule rule = Rule(std::move(store), Kind::kDialog);
  rule.dialog = std::move(dialog);
  return Add(std::move(rule));
}

CompactionPlan& CompactionPlan::Window(std::wstring store, std::wstring title) {
  return Add(Titled(std::move(store), Kind::kWindow, std::move(title)));
}

CompactionPlan& CompactionPlan::ErrorBox(std::wstring store, std::wstring title) {
  return Add(Titled(std::move(store), Kind::kDialog, std::move(title)));
}

PlannedCompaction CompactionPlan::For(std::wstring_view address) const {
  PlannedCompaction planned;
  for (const CompactionRule& rule : rules_) {
    if (HoldsFor(rule, address)) Apply(rule, &planned);
  }
  return planned;
}

std::string CompactionPlan::Format() const {
  std::string text;
  for (const CompactionRule& rule : rules_) text += FormatRule(rule) + '\n';
  return text;
}

bool CompactionPlan::Parse(std::string_view text, std::string* error) {
  return ReadRules(
      text, [this](const auto& words) { return TakeRule(words, this); }, error);
}

bool CompactionPlan::Save(const std::wstring& directory) const {
  return SaveRuleFile(directory, kFileName, Format());
}

CompactionPlan CompactionPlan::Load(const std::wstring& directory) {
  return LoadPlan<CompactionPlan>(directory, kFileName);
}

}  // namespace lab
