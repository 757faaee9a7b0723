#include "lab/repair/repair_plan.h"

#include <utility>

namespace lab {
namespace {

constexpr NamedValue<RepairDeath> kDeaths[] = {{RepairDeath::kNever, "never"},
                                               {RepairDeath::kAtStart, "start"},
                                               {RepairDeath::kInScan, "scan"},
                                               {RepairDeath::kInRepair, "repair"}};
constexpr NamedValue<RepairOutcome> kOutcomes[] = {{RepairOutcome::kFromFile, "from-file"},
                                                   {RepairOutcome::kSound, "sound"},
                                                   {RepairOutcome::kErrors, "errors"},
                                                   {RepairOutcome::kMinor, "minor"},
                                                   {RepairOutcome::kErrorBox, "error-box"}};
constexpr NamedValue<AfterCancel> kAfterCancels[] = {{AfterCancel::kErrorBox, "error-box"},
                                                     {AfterCancel::kSound, "sound"},
                                                     {AfterCancel::kContinue, "continue"}};
constexpr NamedValue<BackupQuestion> kBackupQuestions[] = {
    {BackupQuestion::kWhenThere, "when-there"},
    {BackupQuestion::kAlways, "always"},
    {BackupQuestion::kNever, "never"}};
constexpr NamedValue<ResultEdit> kResultEdits[] = {{ResultEdit::kByOutcome, "by-outcome"},
                                                   {ResultEdit::kAlways, "always"},
                                                   {ResultEdit::kNever, "never"}};

constexpr RuleForm<RepairOptions> kOptions[] = {
    {"start-time", Value<&RepairOptions::startTime>},
    {"window", Choice<&RepairOptions::window, kYesNo>},
    {"window-delay", Value<&RepairOptions::windowDelay>},
    {"start-edit", Choice<&RepairOptions::startEdit, kYesNo>},
    {"start-button", Choice<&RepairOptions::startButton, kYesNo>},
    {"lifetime", Value<&RepairOptions::lifetime>},
    {"death", Choice<&RepairOptions::death, kDeaths>},
    {"scan-time", Value<&RepairOptions::scanTime>},
    {"cancel-button", Choice<&RepairOptions::cancelButton, kYesNo>},
    {"cancel-question", Choice<&RepairOptions::cancelQuestion, kYesNo>},
    {"after-cancel", Choice<&RepairOptions::afterCancel, kAfterCancels>},
    {"window-in-scan", Value<&RepairOptions::windowInScan>},
    {"outcome", Choice<&RepairOptions::outcome, kOutcomes>},
    {"error-text", Value<&RepairOptions::errorText>},
    {"error-statics", Value<&RepairOptions::errorStatics>},
    {"result-edit", Choice<&RepairOptions::resultEdit, kResultEdits>},
    {"repair-time", Value<&RepairOptions::repairTime>},
    {"backup-question", Choice<&RepairOptions::backupQuestion, kBackupQuestions>},
    {"ok-closes", Choice<&RepairOptions::okCloses, kYesNo>},
    {"ok-delay", Value<&RepairOptions::okDelay>},
    {"windows-at-end", Value<&RepairOptions::windowsAtEnd>},
    {"windows-on-close", Value<&RepairOptions::windowsOnClose>},
    {"ignore-close", Value<&RepairOptions::ignoreClose>},
};

// A line for each option in which `options` differs from `base`.
std::string FormatOptions(const RepairOptions& options, const RepairOptions& base) {
  std::string text;
  for (const RuleForm<RepairOptions>& option : kOptions) {
    const std::string line = WriteForm(option, options);
    if (line != WriteForm(option, base)) text += line + '\n';
  }
  return text;
}

}  // namespace

RepairOptions& RepairPlan::File(std::wstring text) {
  for (Block& block : blocks_) {
    if (block.text == text) return block.options;
  }
  blocks_.push_back({std::move(text), options});
  return blocks_.back().options;
}

const RepairOptions& RepairPlan::For(std::wstring_view path) const {
  for (const Block& block : blocks_) {
    if (ContainsFolded(path, block.text)) return block.options;
  }
  return options;
}

std::string RepairPlan::Format() const {
  std::string text = FormatOptions(options, RepairOptions());
  for (const Block& block : blocks_) {
    text +=
        "file " + Quote(Utf8FromWide(block.text)) + '\n' + FormatOptions(block.options, options);
  }
  return text;
}

bool RepairPlan::Parse(std::string_view text, std::string* error) {
  RepairOptions* current = &options;
  const auto take = [&](const RuleWords& words) {
    if (words[0] != "file") return ReadRule(kOptions, words, current);
    if (words.size() == 2) current = &File(WideFromUtf8(words[1]));
    return words.size() == 2;
  };
  return ReadRules(text, take, error);
}

}  // namespace lab
