#include "lab/repair/repair_plan.h"

#include <optional>
#include <span>
#include <utility>
#include <variant>

#include "lab/common/rule_file.h"
#include "lab/common/text.h"

namespace lab {
namespace {

constexpr wchar_t kFileName[] = L"repair.txt";

template <typename Value>
struct Word {
  Value value;
  const char* text;
};

constexpr Word<bool> kBools[] = {{true, "yes"}, {false, "no"}};
constexpr Word<RepairDeath> kDeaths[] = {{RepairDeath::kNever, "never"},
                                         {RepairDeath::kAtStart, "start"},
                                         {RepairDeath::kInScan, "scan"},
                                         {RepairDeath::kInRepair, "repair"}};
constexpr Word<RepairOutcome> kOutcomes[] = {{RepairOutcome::kFromFile, "from-file"},
                                             {RepairOutcome::kSound, "sound"},
                                             {RepairOutcome::kErrors, "errors"},
                                             {RepairOutcome::kMinor, "minor"},
                                             {RepairOutcome::kErrorBox, "error-box"}};
constexpr Word<AfterCancel> kAfterCancels[] = {{AfterCancel::kErrorBox, "error-box"},
                                               {AfterCancel::kSound, "sound"},
                                               {AfterCancel::kContinue, "continue"}};
constexpr Word<BackupQuestion> kBackupQuestions[] = {{BackupQuestion::kWhenThere, "when-there"},
                                                     {BackupQuestion::kAlways, "always"},
                                                     {BackupQuestion::kNever, "never"}};
constexpr Word<ResultEdit> kResultEdits[] = {{ResultEdit::kByOutcome, "by-outcome"},
                                             {ResultEdit::kAlways, "always"},
                                             {ResultEdit::kNever, "never"}};

std::span<const Word<bool>> WordsOf(bool) { return kBools; }
std::span<const Word<RepairDeath>> WordsOf(RepairDeath) { return kDeaths; }
std::span<const Word<RepairOutcome>> WordsOf(RepairOutcome) { return kOutcomes; }
std::span<const Word<AfterCancel>> WordsOf(AfterCancel) { return kAfterCancels; }
std::span<const Word<BackupQuestion>> WordsOf(BackupQuestion) { return kBackupQuestions; }
std::span<const Word<ResultEdit>> WordsOf(ResultEdit) { return kResultEdits; }

template <typename Value>
bool Read(std::string_view text, Value* value) {
  for (const Word<Value>& word : WordsOf(Value())) {
    if (text == word.text) {
      *value = word.value;
      return true;
    }
  }
  return false;
}

bool Read(std::string_view text, uint32_t* value) {
  const std::optional<uint32_t> number = ParseNumber(text);
  *value = number.value_or(*value);
  return number.has_value();
}

bool Read(std::string_view text, std::wstring* value) {
  *value = WideFromUtf8(text);
  return true;
}

template <typename Value>
std::string Write(const Value& value) {
  for (const Word<Value>& word : WordsOf(Value())) {
    if (value == word.value) return word.text;
  }
  return {};
}

std::string Write(uint32_t value) { return std::to_string(value); }
std::string Write(const std::wstring& value) { return Quote(Utf8FromWide(value)); }

template <typename Value>
using Member = Value RepairOptions::*;

struct Option {
  const char* name;
  std::variant<Member<bool>, Member<uint32_t>, Member<std::wstring>, Member<RepairDeath>,
               Member<RepairOutcome>, Member<AfterCancel>, Member<BackupQuestion>,
               Member<ResultEdit>>
      member;
};

const Option kOptions[] = {
    {"start-time", &RepairOptions::startTime},
    {"window", &RepairOptions::window},
    {"window-delay", &RepairOptions::windowDelay},
    {"start-edit", &RepairOptions::startEdit},
    {"start-button", &RepairOptions::startButton},
    {"lifetime", &RepairOptions::lifetime},
    {"death", &RepairOptions::death},
    {"scan-time", &RepairOptions::scanTime},
    {"cancel-button", &RepairOptions::cancelButton},
    {"cancel-question", &RepairOptions::cancelQuestion},
    {"after-cancel", &RepairOptions::afterCancel},
    {"window-in-scan", &RepairOptions::windowInScan},
    {"outcome", &RepairOptions::outcome},
    {"error-text", &RepairOptions::errorText},
    {"error-statics", &RepairOptions::errorStatics},
    {"result-edit", &RepairOptions::resultEdit},
    {"repair-time", &RepairOptions::repairTime},
    {"backup-question", &RepairOptions::backupQuestion},
    {"ok-closes", &RepairOptions::okCloses},
    {"ok-delay", &RepairOptions::okDelay},
    {"windows-at-end", &RepairOptions::windowsAtEnd},
    {"windows-on-close", &RepairOptions::windowsOnClose},
    {"ignore-close", &RepairOptions::ignoreClose},
};

constexpr char kFileWord[] = "file";

// A line for each option in which `options` differs from `base`.
std::string FormatOptions(const RepairOptions& options, const RepairOptions& base) {
  std::string text;
  for (const Option& option : kOptions) {
    std::visit(
        [&](auto member) {
          if (options.*member == base.*member) return;
          text += std::string(option.name) + ' ' + Write(options.*member) + '\n';
        },
        option.member);
  }
  return text;
}

}  // namespace

bool SetRepairOption(RepairOptions* options, std::string_view name, std::string_view value) {
  for (const Option& option : kOptions) {
    if (name != option.name) continue;
    return std::visit([&](auto member) { return Read(value, &(options->*member)); }, option.member);
  }
  return false;
}

RepairOptions& RepairPlan::File(std::wstring text) {
  for (Block& block : blocks_) {
    if (block.text == text) return block.options;
  }
  blocks_.push_back({std::move(text), options});
  return blocks_.back().options;
}

const RepairOptions& RepairPlan::For(std::wstring_view path) const {
  const std::wstring folded = FoldAscii(path);
  for (const Block& block : blocks_) {
    if (folded.find(FoldAscii(block.text)) != std::wstring::npos) return block.options;
  }
  return options;
}

std::string RepairPlan::Format() const {
  std::string text = FormatOptions(options, RepairOptions());
  for (const Block& block : blocks_) {
    text += std::string(kFileWord) + ' ' + Quote(Utf8FromWide(block.text)) + '\n';
    text += FormatOptions(block.options, options);
  }
  return text;
}

bool RepairPlan::Parse(std::string_view text, std::string* error) {
  RepairOptions* current = &options;
  const auto take = [&](const std::vector<std::string>& words) {
    if (words.size() != 2) return false;
    if (words[0] != kFileWord) return SetRepairOption(current, words[0], words[1]);
    current = &File(WideFromUtf8(words[1]));
    return true;
  };
  return ReadRules(text, take, error);
}

bool RepairPlan::Save(const std::wstring& directory) const {
  return SaveRuleFile(directory, kFileName, Format());
}

RepairPlan RepairPlan::Load(const std::wstring& directory) {
  return LoadPlan<RepairPlan>(directory, kFileName);
}

}  // namespace lab
