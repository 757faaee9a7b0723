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
    {"start-time", kValue<&RepairOptions::startTime>},
    {"window", kChoice<&RepairOptions::window, kYesNo>},
    {"window-delay", kValue<&RepairOptions::windowDelay>},
    {"start-edit", kChoice<&RepairOptions::startEdit, kYesNo>},
    {"start-button", kChoice<&RepairOptions::startButton, kYesNo>},
    {"lifetime", kValue<&RepairOptions::lifetime>},
    {"death", kChoice<&RepairOptions::death, kDeaths>},
    {"scan-time", kValue<&RepairOptions::scanTime>},
    {"cancel-button", kChoice<&RepairOptions::cancelButton, kYesNo>},
    {"cancel-question", kChoice<&RepairOptions::cancelQuestion, kYesNo>},
    {"after-cancel", kChoice<&RepairOptions::afterCancel, kAfterCancels>},
    {"window-in-scan", kValue<&RepairOptions::windowInScan>},
    {"outcome", kChoice<&RepairOptions::outcome, kOutcomes>},
    {"error-text", kValue<&RepairOptions::errorText>},
    {"error-statics", kValue<&RepairOptions::errorStatics>},
    {"result-edit", kChoice<&RepairOptions::resultEdit, kResultEdits>},
    {"repair-time", kValue<&RepairOptions::repairTime>},
    {"backup-question", kChoice<&RepairOptions::backupQuestion, kBackupQuestions>},
    {"ok-closes", kChoice<&RepairOptions::okCloses, kYesNo>},
    {"ok-delay", kValue<&RepairOptions::okDelay>},
    {"windows-at-end", kValue<&RepairOptions::windowsAtEnd>},
    {"windows-on-close", kValue<&RepairOptions::windowsOnClose>},
    {"ignore-close", kValue<&RepairOptions::ignoreClose>},
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
