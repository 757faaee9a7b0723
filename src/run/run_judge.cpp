#include "src/run/run_judge.h"

#include <array>
#include <cstdio>

namespace {

constexpr size_t kMostShown = 3;
constexpr DWORD kToolExitCode = 0;

std::wstring Hexadecimal(DWORD value) {
  std::array<wchar_t, 11> text = {};
  _snwprintf_s(text.data(), text.size(), _TRUNCATE, L"0x%x", value);
  return text.data();
}

// Whether the numbers of assigned and of all users are the same.
bool AllAssigned(std::wstring_view line) {
  constexpr std::wstring_view kBefore = L"Assigned ";
  constexpr std::wstring_view kBetween = L" of ";
  const size_t between = line.find(kBetween);
  const std::wstring_view assigned = line.substr(kBefore.size(), between - kBefore.size());
  const std::wstring_view all = line.substr(between + kBetween.size());
  return all.substr(0, all.find(L' ')) == assigned;
}

}  // namespace

void RunJudge::Add(std::wstring_view line) {
  if (++lines_ == 1) reasonNotRun_ = ::ReasonNotRun(line);
  if (reasonNotRun_) return;
  if (line == kUserBreakLine) {
    userBreak_ = true;
  } else if (IsGoodLine(command_, line)) {
    CountWanted(line);
  } else {
    ++troubleLines_;
    if (firstTrouble_.size() < kMostShown) firstTrouble_.emplace_back(line);
  }
}

void RunJudge::CountWanted(std::wstring_view line) {
  for (size_t i = 0; i < counts_.size(); ++i) {
    const WantedLine& wanted = WantedLines()[i];
    if (HasForm(line, wanted.form)) ++counts_[i].seen;
    if (!wanted.forEach.empty() && HasForm(line, wanted.forEach)) ++counts_[i].wanted;
  }
  if (HasForm(line, kAssignedForm)) assigned_ = line;
}

bool RunJudge::IsMissing(size_t index) const {
  const WantedLine& wanted = WantedLines()[index];
  if (wanted.command != command_) return false;
  return wanted.forEach.empty() ? counts_[index].seen == 0
                                : counts_[index].seen < counts_[index].wanted;
}

std::vector<std::wstring> RunJudge::Trouble() const {
  if (troubleLines_ == 0) return {};
  std::wstring count = L"lines of trouble: " + std::to_wstring(troubleLines_);
  if (troubleLines_ > firstTrouble_.size()) count += L", of which the first";
  std::vector<std::wstring> trouble = {count};
  for (const std::wstring& line : firstTrouble_) trouble.push_back(L"  " + line);
  return trouble;
}

std::vector<std::wstring> RunJudge::TroubleAtEnd(DWORD exitCode) const {
  std::vector<std::wstring> trouble = Trouble();
  for (size_t i = 0; i < counts_.size(); ++i) {
    if (IsMissing(i)) trouble.push_back(L"missing: " + std::wstring(WantedLines()[i].form));
  }
  if (!assigned_.empty() && !AllAssigned(assigned_)) {
    trouble.push_back(L"not all users: " + assigned_);
  }
  // A run that was asked to stop does not get here.
  if (userBreak_) trouble.emplace_back(kUserBreakLine);
  if (exitCode != kToolExitCode) {
    trouble.push_back(L"qrvadmin ended with the code " + Hexadecimal(exitCode));
  }
  return trouble;
}
